#include "tools/ps/report/local_time.h"

#include <algorithm>
#include <map>

namespace ps_tool {
namespace {

constexpr std::int64_t kMsPerHour = 60 * kMsPerMinute;
constexpr std::int64_t kDaysOfQuarter = 91;

int offset_at(const Zone& zone, std::int64_t instant) {
    return static_cast<int>((zone.to_local(instant) - instant) / kMsPerMinute);
}

/// The first minute after `before` that has the offset of `after`.
std::int64_t change_between(const Zone& zone, std::int64_t before, std::int64_t after) {
    const int target = offset_at(zone, after);
    std::int64_t low = before / kMsPerMinute;
    std::int64_t high = after / kMsPerMinute;
    while (high - low > 1) {
        const std::int64_t middle = (low + high) / 2;
        (offset_at(zone, middle * kMsPerMinute) == target ? high : low) = middle;
    }
    return high * kMsPerMinute;
}

int most_frequent(const std::vector<ZoneOffset>& seen) {
    std::map<int, std::size_t> counts;
    for (const ZoneOffset& one : seen) ++counts[one.minutes];
    return std::ranges::max_element(counts, {}, [](const auto& count) { return count.second; })->first;
}

}  // namespace

std::vector<ZoneOffset> offsets_of(const Zone& zone, const Interval& interval) {
    std::vector<ZoneOffset> offsets = {{interval.begin, offset_at(zone, interval.begin)}};
    for (std::int64_t day = interval.begin; day < interval.end; day += kDay) {
        const int minutes = offset_at(zone, day + kDay);
        if (minutes != offsets.back().minutes)
            offsets.push_back({change_between(zone, day, day + kDay), minutes});
    }
    return offsets;
}

std::vector<ZoneOffset> offsets_of(std::vector<ZoneOffset> seen) {
    std::ranges::sort(seen, {}, &ZoneOffset::from);
    std::vector<ZoneOffset> offsets;
    std::int64_t before = 0;
    for (const ZoneOffset& one : seen) {
        if (offsets.empty()) {
            offsets.push_back(one);
        } else if (const int old = offsets.back().minutes; one.minutes != old) {
            const std::int64_t full_hour =
                (one.from + old * kMsPerMinute) / kMsPerHour * kMsPerHour - old * kMsPerMinute;
            offsets.push_back({full_hour > before ? full_hour : one.from, one.minutes});
        }
        before = one.from;
    }
    if (offsets.empty()) return offsets;
    const std::int64_t quarters = (seen.back().from - seen.front().from) / (kDaysOfQuarter * kDay);
    if (static_cast<std::int64_t>(offsets.size()) > quarters + 2)
        return {{seen.front().from, most_frequent(seen)}};
    return offsets;
}

}  // namespace ps_tool
