#include "tools/ps/report/outliers.h"

#include <algorithm>

namespace ps_tool {
namespace {

constexpr std::int64_t kFarAway = 7 * kDay;
constexpr std::int64_t kClockReset = 10'957 * kDay;  // 2000-01-01
constexpr std::int64_t kYear = 366 * kDay;
constexpr std::size_t kBulk = 3;  // recordings, if a single one can be an outlier
constexpr std::int64_t kHundred = 100;

/// Recordings without a pause of more than a week.
struct RecordingGroup {
    Interval extent;
    std::int64_t recorded = 0;  // ms
    std::vector<std::size_t> recordings;
};

std::vector<RecordingGroup> groups_of(const std::vector<RecordingFacts>& recordings) {
    std::vector<std::size_t> order;
    for (std::size_t i = 0; i < recordings.size(); ++i) {
        if (!recordings[i].spans.empty()) order.push_back(i);
    }
    std::ranges::sort(order, {}, [&](std::size_t i) { return recordings[i].spans.front().first; });
    std::vector<RecordingGroup> groups;
    for (const std::size_t i : order) {
        const std::vector<FrameSpan>& spans = recordings[i].spans;
        if (groups.empty() || spans.front().first - groups.back().extent.end > kFarAway)
            groups.push_back({{spans.front().first, spans.back().end}, 0, {}});
        RecordingGroup& group = groups.back();
        group.extent.end = std::max(group.extent.end, spans.back().end);
        for (const FrameSpan& span : spans) group.recorded += span.end - span.first;
        group.recordings.push_back(i);
    }
    return groups;
}

}  // namespace

std::set<std::size_t> outliers_of(const std::vector<RecordingFacts>& recordings, std::int64_t now) {
    const std::vector<RecordingGroup> groups = groups_of(recordings);
    const auto impossible = [now](const RecordingGroup& group) {
        return group.extent.end < kClockReset + kYear || group.extent.begin > now + kDay;
    };
    const auto bulk = std::ranges::max_element(groups, {}, [&](const RecordingGroup& group) {
        return std::pair(!impossible(group), group.recorded);
    });
    const auto recent = [now](const RecordingGroup& group) {
        return group.extent.end > now - kFarAway && group.extent.begin <= now;
    };
    std::set<std::size_t> outliers;
    for (auto group = groups.begin(); group != groups.end(); ++group) {
        if (group == bulk) {
            if (impossible(*bulk)) continue;
            for (const std::size_t i : group->recordings) {
                if (recordings[i].spans.front().first > now + kDay) outliers.insert(i);
            }
            continue;
        }
        const bool single = group->recordings.size() == 1 && bulk->recordings.size() >= kBulk;
        const bool small = single || group->recorded * kHundred < bulk->recorded;
        if (impossible(*group) || (small && !recent(*group)))
            outliers.insert(group->recordings.begin(), group->recordings.end());
    }
    return outliers;
}

}  // namespace ps_tool
