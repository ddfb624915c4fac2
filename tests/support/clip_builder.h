#pragma once

// MP4 clips in memory (ISO/IEC 14496-12), right or wrong in whatever way a test needs.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/byte_text.h"

/// A whole box, its size in 32 or in 64 bits; a header alone with whatever size it claims.
[[nodiscard]] std::string box(std::string_view type, std::string_view payload);
[[nodiscard]] std::string large_box(std::string_view type, std::string_view payload);
[[nodiscard]] std::string box_header(std::size_t size, std::string_view type);
/// A box with version and flags 0, a count, and its entries' words.
[[nodiscard]] std::string table_box(std::string_view type, std::size_t count,
                                    const std::vector<std::uint32_t>& words);

/// One NAL unit as a sample holds it, its length in front, and as a frame holds it, a start code in front.
[[nodiscard]] std::string nal(std::string_view unit);
[[nodiscard]] std::string in_frame(std::string_view unit);
/// A unit of that many bytes.
[[nodiscard]] std::string unit_of(std::size_t size);

/// A track. Only the samples have to be given.
struct ClipTrack {
    std::vector<std::string> samples;  // as they stand in the file, lengths included
    std::string format = "avc1";
    std::uint16_t width = 64;
    std::uint16_t height = 48;
    std::optional<std::vector<std::uint32_t>> sync = {};  // key frames from 1; no "stss" box when absent
    std::vector<std::size_t> chunks = {};                 // samples in each chunk; all in one when empty
    std::size_t entry_bytes = 86;                         // length of a sample entry other than "avc1"
    /// The boxes of the sample table in file order; with "co64" in place of "stco", long chunk offsets.
    std::vector<std::string> order = {"stsd", "stts", "stss", "stsc", "stsz", "stco"};
    /// Boxes to take as they are: in place of those that would be made, or under names of the test's own.
    std::map<std::string, std::string> boxes = {};
};

/// A clip: "ftyp", whatever stands in front, then "moov" and "mdat" in either order.
struct Clip {
    std::vector<ClipTrack> tracks;
    std::uint32_t timescale = 1000;
    std::optional<std::uint64_t> duration = 1000;  // no "mvhd" box when absent
    bool long_times = false;                       // "mvhd" in its 64-bit version
    bool media_in_front = false;
    bool long_media = false;  // the size of "mdat" in 64 bits
    std::string in_front = {};
};
[[nodiscard]] std::string make_clip(const Clip& clip);
[[nodiscard]] std::string make_clip(const ClipTrack& track);
