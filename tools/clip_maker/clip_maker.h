#pragma once

// Writes MP4 clips (ISO/IEC 14496-12) with any fault a check needs. Shares no code with mp4/, which reads
// them.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace clip_maker {

/// A box with a 32-bit size, and with a 64-bit size.
[[nodiscard]] std::string box(std::string_view type, std::string_view payload);
[[nodiscard]] std::string large_box(std::string_view type, std::string_view payload);
/// A box header that claims the given size.
[[nodiscard]] std::string box_header(std::size_t size, std::string_view type);
/// A box with version and flags 0, the count, and the words of its entries.
[[nodiscard]] std::string table_box(std::string_view type, std::size_t count,
                                    const std::vector<std::uint32_t>& words);

/// A NAL unit as a sample stores it: preceded by its length.
[[nodiscard]] std::string nal(std::string_view unit);
/// `size` bytes that repeat only after 64 KiB.
[[nodiscard]] std::string unit_of(std::size_t size);

/// The times of a track, in its time scale. With them, its header boxes are complete.
struct TrackTimes {
    std::uint32_t time_scale = 1000;
    std::vector<std::uint32_t> durations = {};    // of each sample
    std::vector<std::int32_t> compositions = {};  // offsets of each sample; empty: no "ctts"
    struct Edit {
        std::uint32_t duration = 0;    // in the movie's time scale
        std::int32_t media_time = -1;  // -1: an empty edit
    };
    std::vector<Edit> edits = {};
    bool long_edits = false;  // 64-bit entries
    bool enabled = true;
    std::string handler = "vide";
};

/// What the configuration box of a sample entry says (ISO/IEC 14496-15, 5.3.3.1).
struct AvcSets {
    std::vector<std::string> sequence = {};
    std::vector<std::string> picture = {};
    std::uint8_t length_size = 4;
    std::string boxes_ahead = {};  // between the fixed part of the entry and the configuration
};

/// The only sets of an "avc1" entry without AvcSets.
inline constexpr std::string_view kSequenceSet{"\x67\x42\x00\x1E", 4};
inline constexpr std::string_view kPictureSet{"\x68\xCE", 2};

/// A track. Only the samples are required.
struct ClipTrack {
    std::vector<std::string> samples;  // as stored in the file, with the length of each unit
    std::string format = "avc1";
    std::uint16_t width = 64;
    std::uint16_t height = 48;
    std::optional<std::vector<std::uint32_t>> sync = {};  // key frames, counted from 1; without it, no "stss"
    std::vector<std::size_t> chunks = {};                 // samples in each chunk; empty: all in one chunk
    std::size_t entry_bytes = 86;                         // size of a sample entry that is not "avc1"
    /// The boxes of the sample table in file order. "co64" in place of "stco" stores 64-bit chunk offsets.
    std::vector<std::string> order = {"stsd", "stts", "stss", "stsc", "stsz", "stco"};
    /// Boxes to store as given, by the name in `order`; an empty string leaves the box out.
    std::map<std::string, std::string> boxes = {};
    std::optional<TrackTimes> times = {};
    std::optional<AvcSets> sets = {};  // without them, "avc1" has one of each kind
};

/// Where the samples of a fragmented clip are (ISO/IEC 14496-12, 8.8). The tracks need times.
struct Fragments {
    std::size_t samples = 2;  // of each track in each fragment
    /// What the offset of a run counts from: its fragment, an offset in the file, or the end of the data of
    /// the previous track.
    enum class Base { kFragment, kFile, kPrevious } base = Base::kFragment;
    std::optional<std::uint64_t> first_time = 0;  // without it, no "tfdt"
    bool defaults = false;  // size and duration of the first sample for all, in "trex" or, if odd, in "tfhd"
};

/// A file: "ftyp", `in_front`, "moov" and "mdat" in either order, `at_end`.
struct Clip {
    std::vector<ClipTrack> tracks;
    std::uint32_t timescale = 1000;
    std::optional<std::uint64_t> duration = 1000;  // without it, no "mvhd"
    bool long_times = false;                       // "mvhd" with 64-bit times
    bool minimal = false;         // omits header boxes and fields that the conversion does not read
    bool media_in_front = false;  // "mdat" precedes "moov"
    bool long_media = false;      // "mdat" with a 64-bit size
    std::string in_front = {};
    std::string at_end = {};
    std::optional<Fragments> fragments = {};
};
[[nodiscard]] std::string make_clip(const Clip& clip);
[[nodiscard]] std::string make_clip(const ClipTrack& track);

}  // namespace clip_maker
