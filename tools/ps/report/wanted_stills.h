#pragma once

// Which moments of a camera a report shows as pictures.

#include <cstdint>
#include <vector>

#include "tools/ps/coverage/timeline.h"

namespace ps_tool {

/// The nearest key frame on one side of an instant. If the recording has none there, the nearest one on the
/// other side.
struct WantedStill {
    enum class Side { kAtOrBefore, kAtOrAfter };

    std::int64_t instant = 0;  // ms since 1970
    Side side = Side::kAtOrBefore;
    bool gap_edge = false;     // last before or first after time without a recording
    std::uint64_t number = 0;  // of the gap or of the multiple; the more often 2 divides it, the longer the
                               // still is kept
};

/// The stills at the multiples of `every` ms in the recorded time of a camera and at the edges of its gaps,
/// by instant. The time before the first and after the last interval is a gap too.
[[nodiscard]] std::vector<WantedStill> wanted_stills(const Intervals& recorded, std::int64_t every);

}  // namespace ps_tool
