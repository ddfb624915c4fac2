#pragma once

// The recorded and the missing time of cameras, computed from facts about their recordings.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/ps/coverage/timeline.h"

namespace ps_tool {

/// Frames without a pause of more than a second. Times are in ms since 1970.
struct FrameSpan {
    std::int64_t first = 0;  // time of the first frame
    std::int64_t last = 0;   // time of the last frame
    std::int64_t end = 0;    // when the last frame ends; not included

    bool operator==(const FrameSpan&) const = default;
};

/// What coverage and metrics need to know about a recording.
struct RecordingFacts {
    std::string clip_id = {};  // in the path; empty if the path has another form
    std::string name = {};     // of the stream; empty without a frame
    std::vector<FrameSpan> spans = {};
    std::uint64_t bytes = 0;  // of both files
    bool faulty = false;
    bool repairable = false;
    std::optional<std::int64_t> path_time = {};  // local time in the path, in ms since 1970

    bool operator==(const RecordingFacts&) const = default;
};

/// The limits that are given for the period. In ms since 1970; the end is not included.
struct PeriodLimits {
    std::optional<std::int64_t> from = {};
    std::optional<std::int64_t> to = {};
};

struct CameraCoverage {
    std::string clip_id;
    std::vector<std::string> names;  // in the order of their first frames
    std::vector<const RecordingFacts*> recordings;
    // In the period:
    Intervals recorded;
    Intervals gaps;      // the rest of the period
    Intervals overlaps;  // time in more than one recording

    /// The name that the camera has now, or its clip id.
    [[nodiscard]] const std::string& label() const { return names.empty() ? clip_id : names.back(); }
    [[nodiscard]] std::int64_t missing() const { return total_length(gaps); }
    [[nodiscard]] std::int64_t largest_gap() const;
    /// The recorded part of the period, 0 to 1.
    [[nodiscard]] double ratio(const Interval& period) const;
    /// The length of the gap at the end of the period, or 0.
    [[nodiscard]] std::int64_t current_gap(const Interval& period) const;
    /// The gaps that are at least `minimum` ms long.
    [[nodiscard]] Intervals gaps_of(std::int64_t minimum) const;
};

struct Coverage {
    Interval period;                      // empty without a frame
    PeriodLimits limits;                  // of the period
    std::vector<CameraCoverage> cameras;  // the camera with the longest missing time first

    /// True if the camera's missing time adds up to `minimum_gap` ms or more, or to the whole period.
    [[nodiscard]] bool incomplete(const CameraCoverage& camera, std::int64_t minimum_gap) const;
    /// The recordings with faults and frames in the period, and those with faults and without any frame,
    /// unless the time in their path is outside the given limits in every time zone.
    [[nodiscard]] std::size_t faulty_in_period(const CameraCoverage& camera) const;
};

/// From the first frame to the end of the last one. Nothing without a frame.
[[nodiscard]] std::optional<Interval> extent_of(const std::vector<RecordingFacts>& recordings);

/// A limit that is not given is that of extent_of(). A camera is a clip id. Names of one clip id whose
/// recordings overlap are cameras of their own; names without an overlap are one renamed camera. Recordings
/// without a clip id are told apart by name. The result refers to the facts.
[[nodiscard]] Coverage coverage_of(const std::vector<RecordingFacts>& recordings, const PeriodLimits& limits);

/// One sentence about all cameras. A camera has gaps if it is incomplete().
[[nodiscard]] std::string verdict_of(const Coverage& coverage, std::int64_t minimum_gap);

}  // namespace ps_tool
