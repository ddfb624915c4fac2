#pragma once

#include <cstdint>
#include <map>
#include <vector>

namespace ps_tool {

/// Milliseconds since 1970, UTC; the end does not belong to it.
struct Interval {
    std::int64_t begin = 0;
    std::int64_t end = 0;

    [[nodiscard]] std::int64_t length() const { return end - begin; }
    bool operator==(const Interval&) const = default;
};
using Intervals = std::vector<Interval>;  // disjoint, in order, unless said otherwise

inline constexpr std::int64_t kDay = 86'400'000;  // ms

/// The same moments as disjoint intervals in order. Those at most `bridged` apart become one.
[[nodiscard]] Intervals joined(Intervals any_order, std::int64_t bridged = 0);
/// What of the first is not in the second.
[[nodiscard]] Intervals without(const Intervals& one, const Intervals& other);
[[nodiscard]] std::int64_t length_of(const Intervals& intervals);

/// Milliseconds covered of each day (days since 1970) from the first to the last.
[[nodiscard]] std::map<std::int64_t, std::int64_t> covered_by_day(const Intervals& intervals);
/// The longest pauses between the intervals, longest first.
[[nodiscard]] Intervals longest_gaps(const Intervals& intervals, std::size_t most);

}  // namespace ps_tool
