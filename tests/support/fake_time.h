#pragma once

#include <vector>

#include "platform/clock.h"

/// A clock that shows the time it was set to.
class FakeClock final : public platform::Clock {
  public:
    [[nodiscard]] platform::Ticks now() const override { return now_; }
    void set_seconds(std::int32_t seconds) { now_ = platform::ticks_of(seconds); }

  private:
    platform::Ticks now_ = 0;
};

/// Sleeper for nothing and notes what was asked for. For one thread.
class InstantSleeper final : public platform::Sleeper {
  public:
    void sleep(std::chrono::milliseconds duration) override { slept.push_back(duration); }
    bool wait_for(std::condition_variable& /*condition*/, std::unique_lock<std::mutex>& /*lock*/,
                  std::chrono::milliseconds duration, const std::function<bool()>& ready) override {
        if (!ready()) waited.push_back(duration);
        return ready();
    }

    std::vector<std::chrono::milliseconds> slept;
    std::vector<std::chrono::milliseconds> waited;
};
