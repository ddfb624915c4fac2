#pragma once

#include <istream>
#include <map>
#include <string>
#include <vector>

#include "tools/ps/coverage/timeline.h"

namespace ps_tool {

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
    Intervals converted = {};  // clips in any order
    std::string failure = {};  // why the retrieval did not finish, or empty
};

/// Reads the lost times from a transcript of the recorder (docs/recorder.md), sorted by id and begin. Throws
/// std::runtime_error if a line is not a transcript record.
[[nodiscard]] std::vector<LostTime> read_transcript(std::istream& lines);

/// What happened to a camera's lost time, in ms. The four parts add up to `lost`.
struct Account {
    std::int64_t lost = 0;
    std::int64_t recovered = 0;                   // is in its recordings
    std::int64_t not_on_camera = 0;               // the retrieval finished without it
    std::map<std::string, std::int64_t> refused;  // by reason
    std::map<std::string, std::int64_t> failed;
};

/// Accounts by clip id, for lost times in the order of read_transcript. `covered` is the recorded time by
/// clip id.
[[nodiscard]] std::map<std::string, Account> account_for(const std::vector<LostTime>& lost,
                                                         const std::map<std::string, Intervals>& covered);

}  // namespace ps_tool
