#include <ctime>

#include "platform/calendar.h"

namespace platform {
namespace {

/// std::tm counts years from 1900 and months from 0.
CalendarTime fields_of(const std::tm& broken_down) {
    return {
        std::int64_t{broken_down.tm_year} + 1900,        static_cast<std::uint32_t>(broken_down.tm_mon + 1),
        static_cast<std::uint32_t>(broken_down.tm_mday), static_cast<std::uint32_t>(broken_down.tm_hour),
        static_cast<std::uint32_t>(broken_down.tm_min),  static_cast<std::uint32_t>(broken_down.tm_sec)};
}

}  // namespace

std::optional<CalendarTime> utc_time(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm broken_down{};
    if (::gmtime_r(&time, &broken_down) == nullptr) return std::nullopt;
    return fields_of(broken_down);
}

std::optional<CalendarTime> local_time(std::int64_t seconds) {
    ::tzset();  // localtime_r need not notice a change of the time zone
    const std::time_t time = seconds;
    std::tm broken_down{};
    if (::localtime_r(&time, &broken_down) == nullptr) return std::nullopt;
    return fields_of(broken_down);
}

}  // namespace platform
