#include "tools/reader/packet.h"

#include <algorithm>
#include <vector>

#include "ps/encodings.h"

namespace reader {
namespace {

constexpr std::uint8_t kPaddingBits = 0x1F;
constexpr std::uint8_t kPaddingMarker = 0xC0;
constexpr std::uint8_t kPresentationPrefix = 3;
constexpr std::uint8_t kDecodingPrefix = 1;
constexpr std::uint32_t kMacroblock = 16;  // pixels

MapStream stream_of(MapEntry::View entry) {
    MapStream stream;
    stream.type = MapEntry::Type::get(entry);
    stream.id = MapEntry::Id::get(entry);
    if (is_video_id(stream.id)) {
        stream.width = MapEntry::Width::get(entry) * kMacroblock;
        stream.height = MapEntry::Height::get(entry) * kMacroblock;
    }
    const auto name = MapEntry::Name::of(entry);
    stream.name.assign(name.begin(), std::find(name.begin(), name.end(), 0));
    return stream;
}

/// A header that could stand behind any packet of its file.
bool is_header(const PesHeader::Bytes& bytes, const MapFacts& map) {
    const Packet packet = packet_of(bytes, 0, 0);
    const std::uint32_t before = get_size22(PesHeader::PreviousSize::of(PesHeader::View(bytes)));
    return begins_packet(bytes, map) && is_plausible(packet) && bytes == header_of(packet, map, before);
}

}  // namespace

MapFacts facts_of(const StreamMap::Bytes& map) {
    MapFacts facts;
    facts.program_code = ProgramInfo::Code::of(StreamMap::Info::of(StreamMap::View(map)))[0];
    const auto entries = StreamMap::Entries::of(StreamMap::View(map));
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
        const auto entry = entries.subspan(slot * MapEntry::size).first<MapEntry::size>();
        facts.streams.at(slot) = stream_of(entry);
    }
    return facts;
}

Packet packet_of(const PesHeader::Bytes& bytes, std::uint32_t number, std::uint64_t at) {
    const PesHeader::View header(bytes);
    const std::uint8_t id = PesHeader::StreamId::get(header);
    const std::uint64_t ticks = get_time_stamp(PesHeader::DecodingTime::of(header));
    return {.number = number,
            .at = at,
            .size = get_size22(PesHeader::PacketSize::of(header)),
            .stream_id = id,
            .slot = slot_of_stream_id(id),
            .flags = PesHeader::Flags::get(header),
            .padding = static_cast<std::uint8_t>(PesHeader::Padding::get(header) & kPaddingBits),
            .moment = {static_cast<std::uint16_t>(PesHeader::DateLow::get(header) |
                                                  PesHeader::DateHigh::get(header) << 8U),
                       static_cast<std::uint32_t>(ticks / kClockPerMillisecond)}};
}

PesHeader::Bytes header_of(const Packet& packet, const MapFacts& map, std::uint32_t previous_size) {
    const std::uint64_t ticks = packet.moment.milliseconds * kClockPerMillisecond;
    PesHeader::Bytes bytes{};
    const PesHeader::MutableView header(bytes);
    PesHeader::StartCode::of(header)[2] = 1;
    PesHeader::StreamId::put(header, map.streams.at(packet.slot).id);
    PesHeader::Length::put(header, static_cast<std::uint16_t>(packet.size - PesHeader::Marker::offset));
    PesHeader::Marker::put(header, kPesMarker);
    PesHeader::Contents::put(header, kPesContents);
    PesHeader::DataLength::put(header, kPesDataLength);
    put_time_stamp(PesHeader::PresentationTime::of(header), kPresentationPrefix, ticks);
    put_time_stamp(PesHeader::DecodingTime::of(header), kDecodingPrefix, ticks);
    PesHeader::ExtensionFlags::put(header, kPesExtensionFlags);
    PesHeader::ExtensionLength::put(header, kPesExtensionLength);
    put_size22(PesHeader::PreviousSize::of(header), previous_size);
    put_size22(PesHeader::PacketSize::of(header), packet.size);
    PesHeader::Flags::put(header, packet.flags | kAlwaysSetFlags);
    PesHeader::Program::put(header, program_byte(map));
    PesHeader::Padding::put(header, kPaddingMarker | packet.padding);
    PesHeader::DateLow::put(header, static_cast<std::uint8_t>(packet.moment.date & 0xFFU));
    PesHeader::DateHigh::put(header, static_cast<std::uint8_t>(packet.moment.date >> 8U));
    return bytes;
}

bool is_plausible(const Packet& packet) {
    return possible_size(packet.size) && packet.size >= PesHeader::size + packet.padding &&
           (packet.picture_type() == kKeyFrame || packet.picture_type() == kOtherFrame) &&
           packet.moment.plausible();
}

bool begins_packet(const PesHeader::Bytes& header, const MapFacts& map) {
    const std::uint8_t id = PesHeader::StreamId::get(header);
    return header[0] == 0 && header[1] == 0 && header[2] == 1 &&
           map.streams.at(slot_of_stream_id(id)).id == id;
}

std::optional<std::uint64_t> find_packet(Recording& recording, const MapFacts& map, std::uint64_t from) {
    constexpr std::array<platform::Byte, 3> kStart = {0, 0, 1};
    std::vector<platform::Byte> block(std::size_t{64} * 1024);
    for (std::uint64_t at = from; at + PesHeader::size <= recording.data_size();) {
        block.resize(std::min<std::uint64_t>(block.size(), recording.data_size() - at));
        if (!recording.read_data(at, block)) return std::nullopt;
        for (auto hit = block.begin();; ++hit) {
            hit = std::search(hit, block.end(), kStart.begin(), kStart.end());
            if (hit == block.end()) break;
            const std::uint64_t hit_at = at + static_cast<std::uint64_t>(hit - block.begin());
            const auto header = recording.packet_header(hit_at);
            if (header && is_header(*header, map)) return hit_at;
        }
        at += block.size() - std::min<std::size_t>(block.size() - 1, kStart.size() - 1);
    }
    return std::nullopt;
}

}  // namespace reader
