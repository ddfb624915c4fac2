#pragma once

#include "platform/clock.h"

/// Shows the time that was set last.
class FakeClock final : public platform::Clock {
  public:
    [[nodiscard]] platform::Ticks now() const override { return now_; }
    void set(platform::Ticks now) { now_ = now; }
    void set_seconds(std::int32_t seconds) { set(platform::ticks_of(seconds)); }

  private:
    platform::Ticks now_ = 0;
};

/// Returns at once and adds up the requested times. Allocates nothing. For one thread.
class InstantSleeper final : public platform::Sleeper {
  public:
    void sleep(std::chrono::milliseconds duration) override {
        ++sleeps;
        slept += duration;
    }
    bool wait_for(std::condition_variable& /*condition*/, std::unique_lock<std::mutex>& /*lock*/,
                  std::chrono::milliseconds duration, const std::function<bool()>& ready) override {
        if (ready()) return true;
        ++waits;
        waited += duration;
        return ready();
    }

    int sleeps = 0;
    int waits = 0;
    std::chrono::milliseconds slept{0};  // in total
    std::chrono::milliseconds waited{0};
};
