#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include "tools/ps/coverage/coverage.h"

namespace ps_tool {

/// The recordings whose date is wrong, most likely because the camera's clock was: they begin more than a day
/// in the future, or they are more than a week away from the bulk of the recordings, and they are from the
/// year 2000 or, unless they are from the last week, a single one or less than a hundredth of the recorded
/// time. `now` is in ms since 1970. Recordings without frames are not outliers.
[[nodiscard]] std::set<std::size_t> outliers_of(const std::vector<RecordingFacts>& recordings,
                                                std::int64_t now);

}  // namespace ps_tool
