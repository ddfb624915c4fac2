#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/h264/syntax.h"
#include "tools/reader/verify.h"

namespace reader {

/// The information in a recording's path: YYYY/MM/DD/HH/mmss-XXXXXXXXe.ps below any directory.
struct RecordingPath {
    PacketTime local_start;  // in the recorder's time zone
    std::string clip_id;
};

/// Nothing if the path has another form.
[[nodiscard]] std::optional<RecordingPath> parse_recording_path(const std::string& data_path);

/// The clip id in the file name; empty if it has another form.
[[nodiscard]] std::string clip_id_in(const std::string& data_path);

/// The difference between a local time and UTC, in minutes. Nothing if no time zone has it.
[[nodiscard]] std::optional<int> utc_offset_minutes(const PacketTime& utc, const PacketTime& local);

/// The difference between the local time in the path and the first frame's UTC, in minutes. Nothing without
/// either, or if no time zone has this difference.
[[nodiscard]] std::optional<int> zone_of(const Report& report, const std::optional<RecordingPath>& path);

/// True if no time zone has the difference between the first frame and the path.
[[nodiscard]] bool contradicts_path(const Report& report);

/// Summary of a recording for users.
struct RecordingInfo {
    Report report;
    std::optional<RecordingPath> path;
    std::optional<int> zone;                // minutes from the first frame's UTC to the time in the path
    std::uint32_t gaps = 0;                 // between spans of the same slot
    std::int64_t gap_time = 0;              // ms, total
    std::int64_t longest_gap = 0;           // ms
    std::int64_t covered = 0;               // ms, from the first to the last frame of every span
    bool parameter_sets = false;            // before the first key frame of every slot that has video
    std::vector<std::string> missing_sets;  // what cannot be decoded without the parameter sets of the camera
    std::vector<std::string> decode_obstacles;  // why a player could not decode everything even with them
    std::optional<h264::SequenceParameterSet> sequence;  // the first one of the recording

    [[nodiscard]] bool decodable() const { return missing_sets.empty() && decode_obstacles.empty(); }
    /// Frames per second of the covered time. Nothing if that time is 0.
    [[nodiscard]] std::optional<double> frame_rate() const;
    /// From the first frame to the end of the last one, in ms.
    [[nodiscard]] std::int64_t duration() const;
    /// True if no time zone has the difference between the first frame and the path.
    [[nodiscard]] bool contradicts_path() const { return report.frames > 0 && path && !zone; }
    /// Bits per second of covered time. Nothing if that time is 0.
    [[nodiscard]] std::optional<double> bitrate() const;
    /// Fraction of the data file that is padding, 0 to 1.
    [[nodiscard]] double padding_share() const;
};

/// Verifies the recording, and checks whether each span begins with a key frame and its parameter sets.
[[nodiscard]] RecordingInfo recording_info(Recording& recording);

}  // namespace reader
