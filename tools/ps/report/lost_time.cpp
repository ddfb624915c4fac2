#include "tools/ps/report/lost_time.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <tuple>
#include <utility>

namespace ps_tool {
namespace {

/// Divides one lost time. The first outcome of an instant counts.
class PartsOf {
  public:
    PartsOf(const std::string& clip_id, Intervals time) : clip_id_(clip_id), rest_(std::move(time)) {}

    void take(const Intervals& part, Outcome outcome, const std::string& reason) {
        const Intervals left = difference(rest_, part);
        for (const Interval& time : difference(rest_, left))
            parts_.push_back({clip_id_, time, outcome, reason});
        rest_ = left;
    }

    [[nodiscard]] std::vector<GapPart> with_rest(Outcome outcome, const std::string& reason) {
        take(Intervals(rest_), outcome, reason);
        std::ranges::sort(parts_, {}, [](const GapPart& part) { return part.time.begin; });
        return std::move(parts_);
    }

  private:
    const std::string& clip_id_;
    Intervals rest_;
    std::vector<GapPart> parts_;
};

std::vector<GapPart> parts_of(const LostTime& lost, const Interval& time, const Intervals& recorded) {
    PartsOf parts(lost.clip_id, merge({time}));
    parts.take(recorded, Outcome::kRecovered, "");
    for (const auto& [clip, reason] : lost.refused) parts.take(merge({clip}), Outcome::kRefused, reason);
    parts.take(merge(lost.converted), Outcome::kFailed, "recording is missing");
    return parts.with_rest(lost.rest, lost.reason);
}

/// Of two equal gaps, the one with the final outcome is first.
std::vector<const LostTime*> in_order(const std::vector<LostTime>& lost) {
    std::vector<const LostTime*> all;
    all.reserve(lost.size());
    for (const LostTime& one : lost) all.push_back(&one);
    std::ranges::sort(all, {}, [](const LostTime* one) {
        return std::tuple(std::string_view(one->clip_id), one->gap.begin, one->gap.end, one->rest);
    });
    return all;
}

}  // namespace

std::vector<GapPart> outcomes_of(const std::vector<LostTime>& lost,
                                 const std::map<std::string, Intervals>& covered) {
    std::vector<GapPart> all;
    std::map<std::string, std::int64_t> accounted;  // end of the accounted time, so that none counts twice
    for (const LostTime* one : in_order(lost)) {
        std::int64_t& before = accounted.try_emplace(one->clip_id, one->gap.begin).first->second;
        const auto recorded = covered.find(one->clip_id);
        std::ranges::move(parts_of(*one, {std::max(one->gap.begin, before), one->gap.end},
                                   recorded == covered.end() ? Intervals() : recorded->second),
                          std::back_inserter(all));
        before = std::max(before, one->gap.end);
    }
    return all;
}

}  // namespace ps_tool
