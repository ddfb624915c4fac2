#include "tools/reader/packet.h"

#include <algorithm>
#include <vector>

#include "ps/encodings.h"
#include "ps/record_builder.h"

namespace reader {
namespace {

MapStream stream_of(MapEntry::View entry) {
    MapStream stream;
    stream.type = MapEntry::Type::get(entry);
    stream.id = MapEntry::Id::get(entry);
    if (is_video_id(stream.id)) {
        stream.width = MapEntry::Width::get(entry) * kMapPixels;
        stream.height = MapEntry::Height::get(entry) * kMapPixels;
    }
    const auto name = MapEntry::Name::of(entry);
    stream.name.assign(name.begin(), std::find(name.begin(), name.end(), 0));
    return stream;
}

}  // namespace

void put_map_entry_constants(MapEntry::MutableView entry, std::uint32_t slot) {
    MapEntry::InfoLength::put(entry, kMapEntryInfoLength);
    if (slot < kVideoSlots) MapEntry::Filler::put(entry, kMapEntryFiller);
    std::ranges::fill(MapEntry::Reserved::of(entry), platform::Byte{0});
}

StreamMapInfo parse_stream_map(const StreamMap::Bytes& map) {
    StreamMapInfo info;
    info.program_code = ProgramInfo::Code::of(StreamMap::Info::of(StreamMap::View(map)))[0];
    for (std::uint32_t slot = 0; slot < kSlots; ++slot)
        info.streams.at(slot) = stream_of(map_entry(StreamMap::View(map), slot));
    return info;
}

Packet parse_packet(const PesHeader::Bytes& bytes, std::uint32_t number, std::uint64_t offset) {
    const PesHeader::View header(bytes);
    const std::uint8_t id = PesHeader::StreamId::get(header);
    const std::uint64_t ticks = get_time_stamp(PesHeader::DecodingTime::of(header));
    return {.number = number,
            .offset = offset,
            .size = get_size22(PesHeader::PacketSize::of(header)),
            .stream_id = id,
            .slot = slot_of_stream_id(id),
            .flags = PesHeader::Flags::get(header),
            .padding = static_cast<std::uint8_t>(PesHeader::Padding::get(header) & kPaddingBits),
            .time = {get_date16(PesHeader::Date::of(header)),
                     static_cast<std::uint32_t>(ticks / kClockPerMillisecond)}};
}

PesHeader::Bytes expected_header(const Packet& packet, const StreamMapInfo& map,
                                 std::uint32_t previous_size) {
    PesHeader::Bytes bytes = packet_header({.stream_id = map.streams.at(packet.slot).id,
                                            .flags = packet.flags,
                                            .program = program_byte(map.program_code),
                                            .size = packet.size,
                                            .padding = packet.padding,
                                            .date = packet.time.date,
                                            .milliseconds = packet.time.milliseconds});
    put_size22(PesHeader::PreviousSize::of(PesHeader::MutableView(bytes)), previous_size);
    return bytes;
}

bool is_plausible(const Packet& packet) {
    return possible_size(packet.size) && packet.size >= PesHeader::size + packet.padding &&
           (packet.picture_type() == kKeyFrame || packet.picture_type() == kOtherFrame) &&
           packet.time.plausible();
}

bool begins_packet(const PesHeader::Bytes& header, const StreamMapInfo& map) {
    const std::uint8_t id = PesHeader::StreamId::get(header);
    return std::ranges::equal(PesHeader::StartCode::of(PesHeader::View(header)), kPacketStartCode) &&
           map.streams.at(slot_of_stream_id(id)).id == id;
}

bool is_header(const PesHeader::Bytes& bytes, const StreamMapInfo& map) {
    const Packet packet = parse_packet(bytes, 0, 0);
    const std::uint32_t previous_size = get_size22(PesHeader::PreviousSize::of(PesHeader::View(bytes)));
    return begins_packet(bytes, map) && is_plausible(packet) &&
           bytes == expected_header(packet, map, previous_size);
}

std::optional<std::uint64_t> find_packet(Recording& recording, const StreamMapInfo& map, std::uint64_t from,
                                         std::uint64_t to, const HeaderCheck& check) {
    std::vector<platform::Byte> block(std::size_t{64} * 1024);
    for (std::uint64_t at = from; at < to && at + PesHeader::size <= recording.data_size();) {
        block.resize(std::min<std::uint64_t>(block.size(), recording.data_size() - at));
        if (!recording.read_data(at, block)) return std::nullopt;
        for (auto hit = block.begin();; ++hit) {
            hit = std::search(hit, block.end(), kPacketStartCode.begin(), kPacketStartCode.end());
            if (hit == block.end()) break;
            const std::uint64_t hit_at = at + static_cast<std::uint64_t>(hit - block.begin());
            if (hit_at >= to) return std::nullopt;
            const auto header = recording.packet_header(hit_at);
            if (header && is_header(*header, map) && check(*header, hit_at)) return hit_at;
        }
        at += block.size() - std::min<std::size_t>(block.size() - 1, kPacketStartCode.size() - 1);
    }
    return std::nullopt;
}

bool is_size_repeated_at(Recording& recording, const StreamMapInfo& map, std::uint64_t position,
                         std::uint32_t size) {
    if (position >= recording.data_size()) return position == recording.data_size();
    const auto header = recording.packet_header(position);
    return header && begins_packet(*header, map) &&
           get_size22(PesHeader::PreviousSize::of(PesHeader::View(*header))) == size;
}

std::optional<std::uint64_t> find_packet_within(Recording& recording, const StreamMapInfo& map,
                                                const Packet& packet) {
    const auto follows = [&](const PesHeader::Bytes& header, std::uint64_t at) {
        const Packet other = parse_packet(header, 0, at);
        return get_size22(PesHeader::PreviousSize::of(PesHeader::View(header))) == packet.size ||
               is_size_repeated_at(recording, map, other.end(), other.size);
    };
    return find_packet(recording, map, packet.offset + 1, packet.end(), follows);
}

}  // namespace reader
