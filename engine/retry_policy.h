#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>

#include "plugin/interfaces/options.h"
#include "plugin/interfaces/records.h"

namespace norvane {

/// What the options say about failed operations. Has no state.
class RetryPolicy {
  public:
    explicit RetryPolicy(const Options& options) : options_(options) {}

    /// True if the engine knows which request is unanswered, and time matters.
    [[nodiscard]] bool follows_requests() const {
        return options_.request_timeout > 0 || options_.retries > 0;
    }

    /// The instant at which a request of this instant counts as failed.
    [[nodiscard]] Ticks deadline(Ticks request) const {
        return options_.request_timeout > 0 ? request + platform::ticks_of(options_.request_timeout)
                                            : std::numeric_limits<Ticks>::max();
    }

    /// True if a request for storage information counts as an attempt, like a failure.
    [[nodiscard]] bool counts_requests() const { return !options_.attempts; }

    /// True if an operation with this number of attempts is not tried again.
    [[nodiscard]] bool is_exhausted(std::int32_t attempts) const {
        return attempts > attempts_per_try() * std::max(options_.retries, 1);
    }

    /// The delay before an operation with this number of attempts is tried again. Nothing if it is tried at
    /// once, even before others.
    [[nodiscard]] std::optional<Ticks> delay(std::int32_t attempts, bool others_first) const {
        if (options_.retries <= 0) return others_first ? std::optional<Ticks>(0) : std::nullopt;
        std::int64_t seconds = std::max(options_.retry_delay, 0);
        for (auto tries = attempts / attempts_per_try(); tries > 1 && seconds > 0 && seconds < kMaxDelay;
             --tries)
            seconds *= 2;
        return std::min(seconds, kMaxDelay) * platform::kTicksPerSecond;
    }

    /// True if an operation that has used its retries is tried again after the next start.
    [[nodiscard]] bool keeps_failed() const { return options_.retries > 0 && options_.failed_for > 0; }

    /// True if the operation has failed too long ago. Both instants are of Clock::now(): if that clock was
    /// set back, the operation is kept for longer.
    [[nodiscard]] bool is_forgotten(const Failure& failure, Ticks now) const {
        return (now - failure.since) / kTicksPerDay >= options_.failed_for;
    }

    /// The start of the next try: the failed clip, because the clips before it are already converted. By
    /// default it is not checked. With the option `attempts`, a clip outside the operation's interval, as in
    /// a report without a clip, leaves the interval as it is.
    [[nodiscard]] Ticks retry_start(const Operation& operation, Ticks failed_clip_start) const {
        const bool is_inside =
            operation.start_time <= failed_clip_start && failed_clip_start < operation.end_time;
        return is_inside || !options_.attempts ? failed_clip_start : operation.start_time;
    }

  private:
    static constexpr std::int64_t kMaxDelay = 3'600;  // seconds
    static constexpr Ticks kTicksPerDay = 86'400 * platform::kTicksPerSecond;

    [[nodiscard]] std::int64_t attempts_per_try() const { return counts_requests() ? 2 : 1; }

    Options options_;
};

}  // namespace norvane
