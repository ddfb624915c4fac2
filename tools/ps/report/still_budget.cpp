#include "tools/ps/report/still_budget.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <iterator>
#include <limits>
#include <utility>

#include "tools/cli/duration.h"

namespace ps_tool {
namespace {

constexpr unsigned kRegularSteps = 64;  // more than a number can be divided by 2

std::uint64_t base64_size(const std::string& bytes) {
    return (bytes.size() + 2) / 3 * 4;
}

}  // namespace

unsigned thinning_step_of(const WantedStill& still) {
    const auto halvings = static_cast<unsigned>(std::countr_zero(still.number));
    return (still.gap_edge ? kRegularSteps : 0) + std::min(halvings, kRegularSteps - 1) + 1;
}

void StillBudget::add(std::size_t camera, std::int64_t time, unsigned kept_until, StillImages images) {
    if (!keeps(kept_until)) return;
    const auto [still, is_new] = cameras_[camera].try_emplace(time);
    if (!is_new && still->second.obstacle.empty()) return;
    for (std::size_t rung = 0; rung < rung_; ++rung) images[rung].clear();
    for (std::size_t rung = rung_; rung < sizes_.size(); ++rung) sizes_[rung] += base64_size(images[rung]);
    still->second = {kept_until, std::move(images), ""};
    shrink();
}

void StillBudget::add_obstacle(std::size_t camera, std::int64_t time, unsigned kept_until,
                               const std::string& obstacle) {
    if (!keeps(kept_until)) return;
    CameraStills& stills = cameras_[camera];
    const auto after = stills.upper_bound(time);
    if (after != stills.begin()) {
        KeptStill& before = std::prev(after)->second;
        if (before.obstacle == obstacle) before.kept_until = std::max(before.kept_until, kept_until);
        if (before.obstacle == obstacle || std::prev(after)->first == time) return;
    }
    stills.emplace_hint(after, time, KeptStill{kept_until, {}, obstacle});
}

void StillBudget::shrink() {
    while (sizes_[rung_] > limits_.budget) {
        if (rung_ + 1 < sizes_.size())
            leave_rung();
        else
            thin_out();
    }
}

void StillBudget::leave_rung() {
    for (CameraStills& stills : cameras_) {
        for (auto& [time, still] : stills) still.images[rung_] = std::string();
    }
    ++rung_;
}

/// Takes the next step that leaves out at least one picture.
void StillBudget::thin_out() {
    unsigned next = std::numeric_limits<unsigned>::max();
    for (const CameraStills& stills : cameras_) {
        for (const auto& [time, still] : stills) {
            if (still.obstacle.empty()) next = std::min(next, still.kept_until);
        }
    }
    thinning_ = next;
    for (CameraStills& stills : cameras_) {
        std::erase_if(stills, [&](const auto& timed) {
            if (keeps(timed.second.kept_until)) return false;
            remove_sizes(timed.second.images);
            return true;
        });
    }
}

void StillBudget::remove_sizes(const StillImages& images) {
    for (std::size_t rung = rung_; rung < sizes_.size(); ++rung) sizes_[rung] -= base64_size(images[rung]);
}

std::vector<std::vector<Still>> StillBudget::stills() const {
    std::vector<std::vector<Still>> all;
    all.reserve(cameras_.size());
    for (const CameraStills& stills : cameras_) {
        std::vector<Still> list;
        list.reserve(stills.size());
        for (const auto& [time, still] : stills) list.push_back({time, still.images[rung_], still.obstacle});
        all.push_back(std::move(list));
    }
    return all;
}

std::string StillBudget::reduction() const {
    if (thinning_ > 0 && sizes_[rung_] == 0) return "no picture fits the budget";
    std::string text;
    const auto add = [&](const std::string& part) {
        text += (text.empty() ? "pictures reduced to fit the budget: " : ", ") + part;
    };
    const StillRung& rung = kStillRungs[rung_];
    if (rung.quantizer != kStillRungs.front().quantizer) add("lower quality");
    if (rung.width != kStillRungs.front().width) add(fmt::format("{} pixels wide", rung.width));
    if (thinning_ >= kRegularSteps + 1) {
        add("only some of those at gaps");
    } else if (thinning_ > 0) {
        // Rounded down to the largest distance that a duration has room for.
        const auto longest =
            static_cast<unsigned>(std::countl_zero(static_cast<std::uint64_t>(limits_.every)));
        const std::int64_t distance = limits_.every << std::min<unsigned>(thinning_, longest - 1);
        add(fmt::format("one per {} besides those at gaps", cli::duration_text(distance)));
    }
    return text;
}

}  // namespace ps_tool
