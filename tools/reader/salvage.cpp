#include "tools/reader/salvage.h"

#include <algorithm>
#include <array>
#include <bit>

#include "ps/encodings.h"
#include "ps/record_builder.h"
#include "tools/h264/syntax.h"
#include "tools/reader/nal_scan.h"
#include "tools/reader/verify.h"

namespace reader {
namespace {

std::uint32_t previous_size_of(const PesHeader::Bytes& header) {
    return get_size22(PesHeader::PreviousSize::of(PesHeader::View(header)));
}

/// A map without names and picture sizes, whose video ids begin with `video_base`.
StreamMap::Bytes blank_map(std::uint8_t video_base, std::uint8_t program_code) {
    StreamMap::Bytes bytes{};
    const StreamMap::MutableView map(bytes);
    put_map_constants(map);
    ProgramInfo::Code::of(StreamMap::Info::of(map))[0] = program_code;
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        const bool video = slot < kVideoSlots;
        const MapEntry::MutableView entry = map_entry(map, slot);
        put_map_entry_constants(entry, slot);
        MapEntry::Type::put(entry, video ? kVideoType : kAudioType);
        MapEntry::Id::put(entry,
                          static_cast<std::uint8_t>((video ? video_base : kAudioId) | slot % kVideoSlots));
    }
    return bytes;
}

bool is_intact_entry(MapEntry::View entry, MapEntry::View blank, std::uint32_t slot) {
    MapEntry::Bytes expected{};
    std::ranges::copy(entry, expected.begin());
    put_map_entry_constants(expected, slot);
    return MapEntry::Id::get(entry) == MapEntry::Id::get(blank) && std::ranges::equal(entry, expected);
}

/// Fills a blank map with what is intact in the file's map. All entries have the same name and all video
/// entries the same picture size, so one of them tells those of the others. True if a video entry was intact.
bool add_intact_entries(StreamMap::Bytes& map, const StreamMap::Bytes& found) {
    bool video_found = false;
    for (std::uint32_t slot = kSlots; slot-- > 0;) {  // the last one that is copied is the first video entry
        const MapEntry::View entry = map_entry(StreamMap::View(found), slot);
        if (!is_intact_entry(entry, map_entry(StreamMap::View(map), slot), slot)) continue;
        video_found |= slot < kVideoSlots;
        for (std::uint32_t other = 0; other < kSlots; ++other) {
            const MapEntry::MutableView to = map_entry(StreamMap::MutableView(map), other);
            std::ranges::copy(MapEntry::Name::of(entry), MapEntry::Name::of(to).begin());
            if (slot >= kVideoSlots || other >= kVideoSlots) continue;
            MapEntry::Width::put(to, MapEntry::Width::get(entry));
            MapEntry::Height::put(to, MapEntry::Height::get(entry));
        }
    }
    return video_found;
}

class Salvager {
  public:
    Salvager(Recording& recording, const Report& report) : recording_(recording), report_(report) {}

    Salvage run() {
        std::optional<std::uint64_t> at = find_first();
        // Without the head, the packets are not where the report expects them.
        if (!result_.map_rebuilt) corrections_ = report_.corrections;
        std::erase_if(corrections_, [](const Correction& one) { return one.offset < kPacketsAt; });
        while (at) at = step(*at);
        if (result_.map_rebuilt) complete_map();
        std::uint64_t kept = 0;
        for (const Salvage::Range& range : result_.ranges) kept += range.end - range.begin;
        result_.dropped_bytes = recording_.data_size() - kept - (result_.map_rebuilt ? 0 : kPacketsAt);
        if (recording_.has_index() && recording_.entries() >= result_.frames)
            result_.dropped_frames = recording_.entries() - result_.frames;
        return std::move(result_);
    }

  private:
    /// Sets the map and finds the first packet.
    std::optional<std::uint64_t> find_first() {
        if (const auto map = corrected_map(recording_)) {
            result_.map = *map;
            map_ = parse_stream_map(*map);
            return find_packet(recording_, map_, kPacketsAt);
        }
        result_.map_rebuilt = true;
        std::array<std::uint8_t, kProgramCodeBits + 1> codes = {0, 1, 2, 3};
        if (const auto entry = recording_.entry_record(0)) {  // most likely right, so it is tried first
            const unsigned code =
                unsigned{PsiFrameEntry::Program::get(*entry)} >> unsigned{kProgramCodeShift};
            std::swap(codes.front(), codes.at(code & kProgramCodeBits));
        }
        for (const std::uint8_t video_base : {kVideoId, kVideoIdWithCodec}) {
            for (const std::uint8_t code : codes) {
                result_.map = blank_map(video_base, code);
                map_ = parse_stream_map(result_.map);
                if (const auto at = find_packet(recording_, map_, 0)) return at;
            }
        }
        return std::nullopt;
    }

    /// Keeps or drops the packet at the offset. The next packet.
    std::optional<std::uint64_t> step(std::uint64_t at) {
        const auto header = header_at(at);
        if (!header) return find_packet(recording_, map_, at + 1);
        const Packet packet = parse_packet(*header, result_.frames, at);
        const bool whole = packet.end() <= recording_.data_size();
        if (packet.end() == recording_.data_size()) {
            const auto within = find_packet_within(recording_, map_, packet);
            if (!within) keep(packet, *header);
            return within;
        }
        if (const auto following = whole ? header_at(packet.end()) : std::nullopt) {
            // Otherwise bytes are missing, most likely within this packet.
            if (previous_size_of(*following) != packet.size)
                return find_packet_within(recording_, map_, packet).value_or(packet.end());
            keep(packet, *header);
            return packet.end();
        }
        const auto next = find_packet(recording_, map_, at + 1);
        if (whole && (!next || *next >= packet.end()) && ends_before_damage(packet, next))
            keep(packet, *header);
        return next;
    }

    /// The corrected header, if it is valid.
    std::optional<PesHeader::Bytes> header_at(std::uint64_t at) {
        auto header = recording_.packet_header(at);
        if (header) apply_corrections(corrections_, at, *header);
        return header && is_header(*header, map_) ? header : std::nullopt;
    }

    /// True if the frame's end is where it should be: the damage that follows begins after the packet. If the
    /// next packet follows this one and is too far away, bytes were inserted into this one or after it; then
    /// only padding that is here, and not before the next packet, shows which.
    bool ends_before_damage(const Packet& packet, const std::optional<std::uint64_t>& next) {
        if (!frame_ends_at(packet.end(), packet.padding)) return false;
        const auto header = next ? recording_.packet_header(*next) : std::nullopt;
        if (!header || previous_size_of(*header) != packet.size) return true;
        return packet.padding > 0 && !frame_ends_at(*next, packet.padding);
    }

    /// True if exactly the given number of zeros precede the position. Frames do not end in zeros.
    bool frame_ends_at(std::uint64_t position, std::uint8_t padding) {
        std::array<platform::Byte, kPaddingBits + std::size_t{1}> bytes{};
        const auto end = std::span(bytes).first(padding + std::size_t{1});
        return recording_.read_data(position - end.size(), end) && end.front() != 0 &&
               all_zero(end.subspan(1));
    }

    /// The number of padding bytes that are zero, counted from the end.
    std::uint8_t zeros_at_end(const Packet& packet) {
        std::array<platform::Byte, kPaddingBits> bytes{};
        const auto padding = std::span(bytes).first(packet.padding);
        const std::uint64_t at = packet.end() - packet.padding;
        if (!recording_.read_data(at, padding)) return 0;
        apply_corrections(corrections_, at, padding);
        const auto last = std::find_if(padding.rbegin(), padding.rend(), [](auto byte) { return byte != 0; });
        return static_cast<std::uint8_t>(last - padding.rbegin());
    }

    void keep(const Packet& packet, const PesHeader::Bytes& header) {
        const auto& known = corrections_;
        auto next = std::ranges::lower_bound(known, packet.offset, {}, &Correction::offset);
        for (; next != known.end() && next->offset < packet.end(); ++next)
            correct(next->offset - packet.offset, next->bytes);
        if (previous_size_of(header) != previous_size_) {
            std::array<platform::Byte, PesHeader::PreviousSize::width> size{};
            put_size22(size, previous_size_);
            correct(PesHeader::PreviousSize::offset, size);
        }
        const std::uint8_t zeros = zeros_at_end(packet);
        if (zeros != packet.padding) {  // no byte of the frame is lost if the rest of the padding joins it
            correct(PesHeader::Padding::offset,
                    std::array{static_cast<platform::Byte>(kPaddingMarker | zeros)});
        }
        if (result_.ranges.empty() || result_.ranges.back().end != packet.offset)
            result_.ranges.push_back({packet.offset, packet.offset});
        result_.ranges.back().end = packet.end();
        ++result_.frames;
        previous_size_ = packet.size;
        new_at_ += packet.size;
        if (packet.is_key() && packet.slot < kVideoSlots && width_ == 0) read_picture_size(packet);
    }

    void correct(std::uint64_t offset, std::span<const platform::Byte> bytes) {
        result_.corrections.push_back({new_at_ + offset, {bytes.begin(), bytes.end()}});
    }

    /// Takes the picture size from the frame's parameter sets, if it has them.
    void read_picture_size(const Packet& packet) {
        if (!result_.map_rebuilt) return;
        std::vector<platform::Byte> frame(packet.payload());
        if (!recording_.read_data(packet.offset + PesHeader::size, frame)) return;
        const std::vector<NalUnit> units = nal_units(frame);
        h264::ParameterSets sets;
        for (std::size_t i = 0; i < units.size(); ++i) {
            const auto id = sets.add(unit_at(frame, units, i));
            const auto active = id ? sets.active(*id) : std::nullopt;
            if (!active) continue;
            width_ = active->sequence->width;
            height_ = active->sequence->height;
        }
    }

    /// The file's map, also if bytes were inserted before it.
    std::optional<StreamMap::Bytes> find_map() {
        constexpr std::uint64_t kMaxInserted = 65536;
        std::vector<platform::Byte> start(std::min(recording_.data_size(), kMaxInserted + kPacketsAt));
        if (!recording_.read_data(0, start)) return std::nullopt;
        const auto begin = std::span(result_.map).first(StreamMap::Version::offset);  // start code and length
        const auto hit = std::search(start.begin(), start.end(), begin.begin(), begin.end());
        const auto at = static_cast<std::uint64_t>(hit - start.begin());
        StreamMap::Bytes map{};
        if (start.size() < at + map.size()) return recording_.stream_map();
        std::copy_n(hit, map.size(), map.begin());
        return map;
    }

    /// Adds names and picture sizes from what is left of the file's map, or the size from the frames.
    void complete_map() {
        const auto found = find_map();
        if (found && add_intact_entries(result_.map, *found)) return;
        for (std::uint32_t slot = 0; slot < kVideoSlots; ++slot) {
            const MapEntry::MutableView entry = map_entry(StreamMap::MutableView(result_.map), slot);
            MapEntry::Width::put(entry, static_cast<std::uint8_t>(width_ / kMapPixels));
            MapEntry::Height::put(entry, static_cast<std::uint8_t>(height_ / kMapPixels));
        }
    }

    Recording& recording_;
    const Report& report_;
    std::vector<Correction> corrections_;  // of packets, by offset
    Salvage result_;
    StreamMapInfo map_;
    std::uint32_t previous_size_ = kNoSize;
    std::uint64_t new_at_ = kPacketsAt;  // of the next packet in the new file
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
};

}  // namespace

Salvage salvage(Recording& recording, const Report& report) {
    return Salvager(recording, report).run();
}

}  // namespace reader
