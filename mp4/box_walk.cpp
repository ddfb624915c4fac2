#include "mp4/box_walk.h"

#include <optional>
#include <utility>

#include "mp4/box_types.h"
#include "mp4/boxes.h"

namespace {

/// ISO/IEC 14496-12, 4.2.
struct BoxHeader {
    BoxType type = 0;
    std::uint64_t payload = 0;  // bytes after the header, according to the header
};

/// A size smaller than its own header wraps around, so that such a box extends to the end of the file.
std::optional<BoxHeader> read_header(BoxReader& in) {
    const std::uint32_t size = in.u32();
    const BoxType type = in.u32();
    if (!in.ok()) return std::nullopt;
    if (size == kLargeSize) return BoxHeader{type, in.u64() - 16};
    if (type == kStco && size == 0) return BoxHeader{type, 0};
    return BoxHeader{type, std::uint32_t{size - 8}};
}

std::string text_of(BoxType type) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = static_cast<char>(type >> shift & 0xFF);
        if (c == '\0') break;
        text.push_back(c);
    }
    return text;
}

template <typename Reader, typename Table>
std::uint64_t read_box(BoxReader& in, std::uint64_t payload, Table& table) {
    Reader reader;
    const std::uint64_t consumed = reader.parse(in, payload);
    table = std::move(reader.table);
    return consumed;
}

/// Returns the number of bytes consumed, or nothing for a type that is not read. A later box of the same type
/// replaces the earlier one.
std::optional<std::uint64_t> read_known_box(BoxReader& in, const BoxHeader& header, SampleTables& track) {
    switch (header.type) {
        case kFtyp:
            (void)in.u32();
            return 4;  // the major brand; any is accepted
        case kMvhd:
            return read_box<MvhdBox>(in, header.payload, track.movie_headers);
        case kStts:
            return read_box<SttsBox>(in, header.payload, track.time_to_sample);
        case kStsc:
            return read_box<StscBox>(in, header.payload, track.sample_to_chunk);
        case kStsz:
            return read_box<StszBox>(in, header.payload, track.sample_sizes);
        case kStco:
            return read_box<StcoBox>(in, header.payload, track.chunk_offsets);
        case kStss:
            return read_box<StssBox>(in, header.payload, track.sync_samples);
        case kStsd:
            return read_box<StsdBox>(in, header.payload, track.sample_descriptions);
        default:
            return std::nullopt;
    }
}

/// Skips the rest of the box. Does not move back if more than the box was consumed.
void skip_rest(BoxReader& in, std::uint64_t payload, std::uint64_t consumed) {
    if (payload > consumed) in.skip(payload - consumed);
}

}  // namespace

bool is_mp4(BoxReader& in) {
    in.seek(4);
    return in.u32() == kFtyp && in.ok();
}

std::vector<SampleTables> gather_tracks(BoxReader& in,
                                        const std::function<void(const std::string&)>& on_unknown,
                                        const std::function<void(const BoxInfo&)>& on_box) {
    std::vector<SampleTables> tracks;
    SampleTables track;
    in.seek(0);
    for (std::uint64_t at = 0; const auto header = read_header(in); at = in.position()) {
        if (on_box) on_box({header->type, at, in.position(), header->payload});
        if (is_container_box(header->type)) continue;
        std::uint64_t consumed = 0;
        if (!is_skipped_box(header->type)) {
            const auto read = read_known_box(in, *header, track);
            if (!read) on_unknown(text_of(header->type));
            consumed = read.value_or(0);
        }
        if (track.complete()) tracks.push_back(std::exchange(track, {}));
        skip_rest(in, header->payload, consumed);
    }
    return tracks;
}
