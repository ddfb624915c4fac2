#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/reader/verify.h"

namespace reader {

/// Summary of a recording for users.
struct RecordingInfo {
    Report report;
    std::uint32_t gaps = 0;                     // between spans of the same slot
    std::int64_t gap_time = 0;                  // ms, total
    std::int64_t longest_gap = 0;               // ms
    std::int64_t covered = 0;                   // ms, from the first to the last frame of every span
    bool parameter_sets = false;                // before the first key frame of every slot that has video
    std::vector<std::string> decode_obstacles;  // why a player could not decode everything

    [[nodiscard]] bool decodable() const { return decode_obstacles.empty(); }
    /// Bits per second of covered time. Nothing if that time is 0.
    [[nodiscard]] std::optional<double> bitrate() const;
    /// Fraction of the data file that is padding, 0 to 1.
    [[nodiscard]] double padding_share() const;
};

/// Verifies the recording, and checks whether each span begins with a key frame and its parameter sets.
[[nodiscard]] RecordingInfo recording_info(Recording& recording);

}  // namespace reader
