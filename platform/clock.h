#pragma once

// Time: the unit of instants, the current instant, and waiting.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

namespace platform {

/// 100-nanosecond units since 1970-01-01 00:00:00 UTC.
using Ticks = std::int64_t;
inline constexpr Ticks kTicksPerSecond = 10'000'000;

/// Converts to the 32-bit whole seconds since 1970 of messages and the state file, rounding toward zero, and
/// back.
[[nodiscard]] constexpr std::int32_t seconds_of(Ticks instant) noexcept {
    return static_cast<std::int32_t>(instant / kTicksPerSecond);
}
[[nodiscard]] constexpr Ticks ticks_of(std::int32_t seconds) noexcept {
    return Ticks{seconds} * kTicksPerSecond;
}

/// Provides the current instant. Any thread may call it.
class Clock {
  public:
    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;
    [[nodiscard]] virtual Ticks now() const = 0;
    /// For measuring durations: the time since an arbitrary instant. Never goes back, and does not change
    /// when the system's clock is set.
    [[nodiscard]] virtual Ticks steady() const { return now(); }
};

/// The system's clock. Valid while the module is loaded.
[[nodiscard]] const Clock& system_clock();

/// Suspends threads. All waiting goes through this interface, so that tests need no real time.
class Sleeper {
  public:
    Sleeper() = default;
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;
    virtual ~Sleeper() = default;

    /// Suspends the calling thread for the duration.
    virtual void sleep(std::chrono::milliseconds duration) = 0;

    /// Waits on the condition until ready() is true or the duration has passed. Returns the last ready().
    virtual bool wait_for(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                          std::chrono::milliseconds duration, const std::function<bool()>& ready) = 0;
};

/// Waits in real time. Valid while the module is loaded.
[[nodiscard]] Sleeper& system_sleeper();

}  // namespace platform
