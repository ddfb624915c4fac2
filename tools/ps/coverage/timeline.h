#pragma once

#include <cstdint>
#include <vector>

namespace ps_tool {

/// In ms since 1970, UTC. The end is not included.
struct Interval {
    std::int64_t begin = 0;
    std::int64_t end = 0;

    [[nodiscard]] std::int64_t length() const { return end - begin; }
    bool operator==(const Interval&) const = default;
};
using Intervals = std::vector<Interval>;  // disjoint and sorted unless stated otherwise

inline constexpr std::int64_t kMsPerSecond = 1000;
inline constexpr std::int64_t kMsPerMinute = 60'000;
inline constexpr std::int64_t kDay = 86'400'000;  // ms

/// The union of intervals in any order. Merges intervals that are at most `bridged` ms apart.
[[nodiscard]] Intervals merge(Intervals intervals, std::int64_t bridged = 0);
[[nodiscard]] Intervals difference(const Intervals& from, const Intervals& removed);
[[nodiscard]] std::int64_t total_length(const Intervals& intervals);

}  // namespace ps_tool
