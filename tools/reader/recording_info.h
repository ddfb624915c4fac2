#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/reader/verify.h"

namespace reader {

/// A recording in figures that a person asks for.
struct RecordingInfo {
    Report report;
    std::uint32_t gaps = 0;                     // between the spans of one slot
    std::int64_t gap_time = 0;                  // ms, all of them
    std::int64_t longest_gap = 0;               // ms
    std::int64_t covered = 0;                   // ms, from the first to the last frame of every span
    bool parameter_sets = false;                // in front of the first key picture of every slot with video
    std::vector<std::string> decode_obstacles;  // why a player could not decode it all; none: decodable

    [[nodiscard]] bool decodable() const { return decode_obstacles.empty(); }
    /// Bits a second over the time covered; nothing for a single picture.
    [[nodiscard]] std::optional<double> bitrate() const;
    /// Padding among the bytes of the data file, 0 to 1.
    [[nodiscard]] double padding_share() const;
};

/// Verifies the recording and looks into the first picture of each span for what a decoder needs first.
[[nodiscard]] RecordingInfo recording_info(Recording& recording);

}  // namespace reader
