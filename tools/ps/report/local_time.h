#pragma once

// The local time of the recorder on the report page.

#include <cstdint>
#include <vector>

#include "tools/ps/coverage/timeline.h"
#include "tools/ps/time_argument.h"

namespace ps_tool {

/// From an instant on, local time differs from UTC by the offset.
struct ZoneOffset {
    std::int64_t from = 0;  // ms since 1970, UTC
    int minutes = 0;

    bool operator==(const ZoneOffset&) const = default;
};

/// The offsets of a zone within the interval. The first one also applies before it.
[[nodiscard]] std::vector<ZoneOffset> offsets_of(const Zone& zone, const Interval& interval);

/// The offsets that recordings show: each has the local time in its path and UTC in its frames. `seen` has
/// the begin and the offset of each recording, in any order. A clock changes at a full hour of local time. If
/// the offsets differ too often for changes of the clock, the recordings have several zones, and the most
/// frequent one applies always. Empty without recordings.
[[nodiscard]] std::vector<ZoneOffset> offsets_of(std::vector<ZoneOffset> seen);

}  // namespace ps_tool
