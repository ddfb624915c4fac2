#pragma once

// Conversion of seconds to calendar fields.

#include <cstdint>
#include <optional>

namespace platform {

/// A calendar date and time of day.
struct CalendarTime {
    std::int64_t year = 0;
    std::uint32_t month = 0;  // 1 to 12
    std::uint32_t day = 0;    // 1 to 31
    std::uint32_t hour = 0;
    std::uint32_t minute = 0;
    std::uint32_t second = 0;
};

/// Converts seconds since 1970-01-01 00:00:00 UTC to UTC, or to the system's local time zone as it is set at
/// the time of the call. Empty if the system cannot represent the result.
[[nodiscard]] std::optional<CalendarTime> utc_time(std::int64_t seconds);
[[nodiscard]] std::optional<CalendarTime> local_time(std::int64_t seconds);

}  // namespace platform
