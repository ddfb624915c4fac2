#pragma once

// Instants and sleeper. Every instant inside the module is a count of ticks.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

namespace platform {

/// 100-nanosecond units since 1970-01-01 00:00:00 UTC.
using Ticks = std::int64_t;
inline constexpr Ticks kTicksPerSecond = 10'000'000;

/// Whole seconds since 1970, truncated toward zero and narrowed as messages and the state file carry them.
[[nodiscard]] constexpr std::int32_t seconds_of(Ticks instant) noexcept {
    return static_cast<std::int32_t>(instant / kTicksPerSecond);
}
[[nodiscard]] constexpr Ticks ticks_of(std::int32_t seconds) noexcept {
    return Ticks{seconds} * kTicksPerSecond;
}

/// The current instant. Implementations are stateless or synchronised: any thread may ask.
class Clock {
  public:
    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;
    [[nodiscard]] virtual Ticks now() const = 0;
};

/// The system's clock; lives as long as the library is loaded.
[[nodiscard]] const Clock& system_clock();

/// Everything that the module ever waits for, so that tests can take the waiting away.
class Sleeper {
  public:
    Sleeper() = default;
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;
    virtual ~Sleeper() = default;

    /// Suspends the calling thread.
    virtual void sleep(std::chrono::milliseconds duration) = 0;

    /// Waits on the condition until ready() holds or the time is over; true when it holds.
    virtual bool wait_for(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                          std::chrono::milliseconds duration, const std::function<bool()>& ready) = 0;
};

/// Real waiting; lives as long as the library is loaded.
[[nodiscard]] Sleeper& system_sleeper();

}  // namespace platform
