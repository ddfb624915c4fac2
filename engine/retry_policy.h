#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "plugin/interfaces/options.h"
#include "plugin/interfaces/records.h"

namespace norvane {

/// What the options say about failed operations. Has no state.
class RetryPolicy {
  public:
    explicit RetryPolicy(const Options& options) : options_(options) {}

    /// True if the engine knows which request is unanswered, and time matters.
    [[nodiscard]] bool follows_requests() const { return options_.request_timeout > 0; }

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

    /// The start of the next try: the failed clip, because the clips before it are already converted. By
    /// default it is not checked. With the option `attempts`, a clip outside the operation's interval, as in
    /// a report without a clip, leaves the interval as it is.
    [[nodiscard]] Ticks retry_start(const Operation& operation, Ticks failed_clip_start) const {
        const bool is_inside =
            operation.start_time <= failed_clip_start && failed_clip_start < operation.end_time;
        return is_inside || !options_.attempts ? failed_clip_start : operation.start_time;
    }

  private:
    [[nodiscard]] std::int64_t attempts_per_try() const { return counts_requests() ? 2 : 1; }

    Options options_;
};

}  // namespace norvane
