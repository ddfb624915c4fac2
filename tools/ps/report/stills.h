#pragma once

// Pictures of key frames for a report.

#include <functional>
#include <string>
#include <vector>

#include "tools/cli/json_list.h"
#include "tools/ps/coverage/timeline.h"
#include "tools/ps/report/still_budget.h"
#include "tools/ps/report/still_codec.h"
#include "tools/ps/report/wanted_stills.h"

namespace ps_tool {

struct StillRecording {
    std::string path;     // of the data file
    Interval time;        // from the first frame to the last one
    bool faulty = false;  // verify found faults; the index is not used
};

struct StillCamera {
    std::vector<StillRecording> recordings;  // in any order
    std::vector<WantedStill> wanted;
};

struct Stills {
    std::vector<std::vector<Still>> cameras;  // in the order of the cameras; stills by time, each time once
    std::vector<std::string> notes;           // about all pictures, for people
};

/// The pictures of the wanted key frames, from `jobs` recordings at once. A still has an obstacle instead of
/// a picture if the recording cannot be decoded there. Without libavcodec a note replaces the stills.
/// Prints the notes on standard error.
[[nodiscard]] Stills stills_of(const std::vector<StillCamera>& cameras, const StillLimits& limits,
                               unsigned jobs,
                               const std::function<MakeStillCodec()>& load_codec = load_still_codec);

/// One camera's stills for the page: [[time, JPEG in base64], [time, "", obstacle], ...].
[[nodiscard]] cli::Json stills_json(const std::vector<Still>& stills);

}  // namespace ps_tool
