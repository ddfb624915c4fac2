#pragma once

// The careful reader: reads a clip as the standard describes it (ISO/IEC 14496-12), as a tree in which no box
// leaves its parent, with its fragments. box_walk.h is the other reader, which follows what recorders have
// always accepted. Tables grow only while the file has data.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "mp4/box_reader.h"
#include "mp4/box_types.h"
#include "mp4/sample_tables.h"

/// One sample entry. Only the coding is set unless the entry is long enough for a visual one.
struct SampleDescription {
    BoxType coding = 0;
    std::uint16_t width = 0;                          // pixels
    std::uint16_t height = 0;                         // pixels
    std::uint8_t nal_length_size = 4;                 // bytes
    std::vector<platform::Byte> parameter_sets = {};  // each with a start code; empty if there are none

    [[nodiscard]] bool is_h264() const noexcept { return coding == kAvc1 || coding == kAvc3; }
};

/// The edit list up to its first edit that shows something. Later edits are not used: a recording contains
/// every sample once.
struct FirstEdit {
    std::uint64_t delay = 0;                  // empty edits before it, in the movie's time scale
    std::optional<std::int64_t> media_start;  // in the track's time scale
};

/// Properties of the samples of a fragment that do not state their own.
struct SampleDefaults {
    std::uint32_t description = 1;  // counted from 1
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
};

/// The fields of one sample of a run.
struct RunSample {
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
    std::uint32_t composition_offset = 0;  // signed
};

/// Consecutive samples of a fragment. Their fields stay in the file.
struct TrackRun {
    std::uint64_t data_offset = 0;     // of the first sample
    std::uint64_t entries_offset = 0;  // of the first sample's fields
    std::uint32_t sample_count = 0;
    std::uint32_t fields = 0;  // which fields each sample has: flags of the run
    SampleDefaults defaults;
    std::optional<std::uint32_t> first_flags = {};  // of the first sample
    std::optional<std::uint64_t> decode_time = {};  // without it, the run follows the previous one

    /// Bytes of each sample's fields in the file.
    [[nodiscard]] std::uint64_t entry_size() const noexcept;
    /// Reads the fields of a sample at the reader's position.
    [[nodiscard]] RunSample read_sample(BoxReader& in, bool first) const;
};

struct MovieTrack {
    std::uint32_t id = 0;
    bool enabled = false;
    BoxType handler = 0;           // 0: not stated
    std::uint32_t time_scale = 0;  // ticks per second; 0: not stated
    FirstEdit edit;
    std::vector<SampleDescription> descriptions;
    std::vector<SttsEntry> time_to_sample;
    std::vector<CttsEntry> composition_offsets;
    std::vector<StscEntry> sample_to_chunk;
    SampleSizes sample_sizes;
    std::vector<std::uint64_t> chunk_offsets;
    std::vector<std::uint32_t> sync_samples;  // sorted; if empty, every sample is one
    std::vector<TrackRun> runs;               // in file order

    [[nodiscard]] bool is_video() const noexcept;
    [[nodiscard]] bool is_h264() const noexcept;
};

struct Movie {
    std::vector<MvhdEntry> headers;
    std::vector<MovieTrack> tracks;                   // in file order
    std::map<std::uint32_t, SampleDefaults> extends;  // by track ID
    bool cut = false;                                 // the clip ends inside its movie box or a fragment's

    /// The first enabled H.264 video track; null without one. If no video track is enabled, all count as
    /// enabled, because some writers do not set the flag.
    [[nodiscard]] const MovieTrack* h264_track() const;
    /// The track whose first chunk is at the offset, or null. Not one with compact sample sizes, which the
    /// other reader does not read.
    [[nodiscard]] const MovieTrack* track_at(std::uint64_t first_chunk_offset) const;
    /// The codings of all tracks, each once: "hvc1, mp4a".
    [[nodiscard]] std::string codings() const;
};

/// Reads the first movie box of the clip and all its fragments, wherever they are.
[[nodiscard]] Movie read_movie(BoxReader& in);
