#pragma once

#include <istream>
#include <map>
#include <string>
#include <vector>

#include "tools/ps/report/coverage.h"

namespace ps_tool {

/// A time in which a camera's channel was lost, and what became of the attempt to fetch it.
struct LostTime {
    std::string clip_id;  // of the camera's recordings, eight digits
    Interval gap;
    /// What the camera delivered and the module did not convert, with its reason.
    struct RefusedClip {
        Interval clip;
        std::string why;
    };
    std::vector<RefusedClip> refused = {};
    Intervals converted = {};  // clips, in any order
    std::string failure = {};  // why the retrieval never came to its end; empty when it did
};

/// The lost times that a recorder's transcript tells of (docs/recorder.md), in order of id and begin. Throws
/// std::runtime_error for a line that is none of a transcript.
[[nodiscard]] std::vector<LostTime> read_transcript(std::istream& lines);

/// Where a camera's lost time went, in ms. All of it is in one of the four.
struct Account {
    std::int64_t lost = 0;
    std::int64_t recovered = 0;                   // stands in its recordings
    std::int64_t not_on_camera = 0;               // the retrieval ended without it
    std::map<std::string, std::int64_t> refused;  // by the reason
    std::map<std::string, std::int64_t> failed;
};

/// By clip id, for lost times in that order. `covered` has what each camera's recordings hold.
[[nodiscard]] std::map<std::string, Account> account_for(const std::vector<LostTime>& lost,
                                                         const std::map<std::string, Intervals>& covered);

}  // namespace ps_tool
