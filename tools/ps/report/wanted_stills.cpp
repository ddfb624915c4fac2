#include "tools/ps/report/wanted_stills.h"

namespace ps_tool {

std::vector<WantedStill> wanted_stills(const Intervals& recorded, std::int64_t every) {
    using enum WantedStill::Side;
    std::vector<WantedStill> wanted;
    std::uint64_t gap = 0;
    for (const Interval& interval : recorded) {
        wanted.push_back({interval.begin, kAtOrAfter, true, gap});
        for (std::int64_t number = interval.begin / every + 1; number * every < interval.end; ++number)
            wanted.push_back({number * every, kAtOrBefore, false, static_cast<std::uint64_t>(number)});
        wanted.push_back({interval.end, kAtOrBefore, true, ++gap});
    }
    return wanted;
}

}  // namespace ps_tool
