#include "tools/ps/coverage/timeline.h"

#include <algorithm>

namespace ps_tool {

Intervals merge(Intervals intervals, std::int64_t bridged) {
    std::ranges::sort(intervals, {}, &Interval::begin);
    Intervals all;
    for (const Interval& next : intervals) {
        if (next.length() <= 0) continue;
        if (!all.empty() && next.begin - all.back().end <= bridged) {
            all.back().end = std::max(all.back().end, next.end);
        } else {
            all.push_back(next);
        }
    }
    return all;
}

Intervals difference(const Intervals& from, const Intervals& removed) {
    Intervals rest;
    if (from.empty()) return rest;
    auto b = std::ranges::upper_bound(removed, from.front().begin, {}, &Interval::end);
    for (Interval left : from) {
        while (b != removed.end() && b->end <= left.begin) ++b;
        for (auto cut = b; cut != removed.end() && cut->begin < left.end; ++cut) {
            if (cut->begin > left.begin) rest.push_back({left.begin, cut->begin});
            left.begin = std::max(left.begin, cut->end);
        }
        if (left.length() > 0) rest.push_back(left);
    }
    return rest;
}

std::int64_t total_length(const Intervals& intervals) {
    std::int64_t sum = 0;
    for (const Interval& one : intervals) sum += one.length();
    return sum;
}

std::map<std::int64_t, std::int64_t> covered_by_day(const Intervals& intervals) {
    std::map<std::int64_t, std::int64_t> days;
    if (intervals.empty()) return days;
    const std::int64_t last = (intervals.back().end - 1) / kDay;
    for (std::int64_t day = intervals.front().begin / kDay; day <= last; ++day) days[day] = 0;
    for (const Interval& one : intervals) {
        for (std::int64_t day = one.begin / kDay; day * kDay < one.end; ++day)
            days[day] += std::min(one.end, (day + 1) * kDay) - std::max(one.begin, day * kDay);
    }
    return days;
}

Intervals longest_gaps(const Intervals& intervals, std::size_t limit) {
    Intervals gaps;
    for (std::size_t i = 1; i < intervals.size(); ++i)
        gaps.push_back({intervals[i - 1].end, intervals[i].begin});
    const std::size_t kept = std::min(limit, gaps.size());
    std::ranges::partial_sort(gaps, gaps.begin() + static_cast<std::ptrdiff_t>(kept), std::greater(),
                              [](const Interval& gap) { return std::pair(gap.length(), -gap.begin); });
    gaps.resize(kept);
    return gaps;
}

}  // namespace ps_tool
