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

}  // namespace ps_tool
