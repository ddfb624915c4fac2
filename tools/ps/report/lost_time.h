#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tools/ps/coverage/timeline.h"

namespace ps_tool {

/// What happened to lost time.
enum class Outcome : std::uint8_t {
    kRecovered,    // is in the camera's recordings
    kNotOnCamera,  // the retrieval finished without it
    kRefused,      // the module refused the clip that contains it
    kFailed,       // the retrieval ended with an error, or a recording is missing
    kOpen,         // the log ends before the loss or its retrieval does
};

/// A gap of a camera's channel, and the result of its retrieval.
struct LostTime {
    std::string clip_id;  // eight hexadecimal digits
    Interval gap;
    /// A delivered clip that the module refused, with its reason.
    struct RefusedClip {
        Interval clip;
        std::string reason;
    };
    std::vector<RefusedClip> refused = {};
    Intervals converted = {};       // clips in any order
    Outcome rest = Outcome::kOpen;  // of what no clip contains
    std::string reason = {};        // why the rest failed or is open, or empty
};

/// A part of a camera's lost time.
struct GapPart {
    std::string clip_id;
    Interval time;
    Outcome outcome = Outcome::kOpen;
    std::string reason;  // of kRefused, kFailed and kOpen, otherwise empty

    bool operator==(const GapPart&) const = default;
};

/// Divides the lost times into parts, sorted by clip id and time. The parts of a camera are disjoint and add
/// up to its lost time. `covered` is the recorded time by clip id.
[[nodiscard]] std::vector<GapPart> outcomes_of(const std::vector<LostTime>& lost,
                                               const std::map<std::string, Intervals>& covered);

}  // namespace ps_tool
