#pragma once

// Keeps the pictures of a report within a size.

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tools/ps/report/still_rungs.h"
#include "tools/ps/report/wanted_stills.h"

namespace ps_tool {

/// A key frame as a picture, or why it is missing.
struct Still {
    std::int64_t time = 0;  // of the key frame, ms since 1970
    std::string jpeg;
    std::string obstacle;  // empty with a picture

    bool operator==(const Still&) const = default;
};

struct StillLimits {
    std::int64_t every = 0;    // ms between two pictures of a camera, besides those at gaps
    std::uint64_t budget = 0;  // bytes of all pictures in base64
};

/// The step of thinning out that leaves a still out. Each step leaves out every second one of those that
/// remain: first the regular ones, then those at the edges of gaps.
[[nodiscard]] unsigned thinning_step_of(const WantedStill& still);

/// Takes the stills one after the other. When they exceed the budget, lowers the quality of all, then their
/// size, and then thins them out. What remains depends only on the stills and their order.
class StillBudget {
  public:
    StillBudget(std::size_t cameras, const StillLimits& limits) : limits_(limits), cameras_(cameras) {}

    // For any thread. What these refuse is never needed again.
    [[nodiscard]] std::size_t rung() const { return rung_; }
    [[nodiscard]] bool keeps(unsigned kept_until) const { return kept_until > thinning_; }

    /// Ignores a second still of the same time. An obstacle that continues is kept once, at its begin.
    void add(std::size_t camera, std::int64_t time, unsigned kept_until, StillImages images);
    void add_obstacle(std::size_t camera, std::int64_t time, unsigned kept_until,
                      const std::string& obstacle);

    /// By camera and time.
    [[nodiscard]] std::vector<std::vector<Still>> stills() const;
    /// What was reduced, for people. Empty if nothing was.
    [[nodiscard]] std::string reduction() const;

  private:
    struct KeptStill {
        unsigned kept_until = 0;
        StillImages images;
        std::string obstacle;
    };
    using CameraStills = std::map<std::int64_t, KeptStill>;  // by time

    void shrink();
    void leave_rung();
    void thin_out();
    void remove_sizes(const StillImages& images);

    StillLimits limits_;
    std::vector<CameraStills> cameras_;
    std::array<std::uint64_t, kStillRungs.size()> sizes_{};  // of all pictures in base64
    std::atomic<std::size_t> rung_ = 0;
    std::atomic<unsigned> thinning_ = 0;
};

}  // namespace ps_tool
