// The C runtime rejects times before 1970, and takes the time zone from TZ instead of the system's settings.
// Therefore utc_time uses std::chrono, and local_time uses the system's zone with the given year's rules.

#include <windows.h>

#include <chrono>
#include <utility>

#include "platform/calendar.h"

namespace platform {
namespace {

/// The calendar repeats every 400 years. Seconds are reduced to one such era because std::chrono's years have
/// fewer bits than 64-bit seconds need.
constexpr std::int64_t kYearsPerEra = 400;
constexpr std::int64_t kSecondsPerEra = 146'097LL * 86'400;

/// Limits of the system's conversion to local time.
constexpr std::int64_t kFirstSystemYear = 1601;
constexpr std::int64_t kLastSystemYear = 30'827;

WORD word(std::int64_t value) {
    return static_cast<WORD>(value);
}

SYSTEMTIME system_time_of(const CalendarTime& time) {
    return {word(time.year),   word(time.month),  0, word(time.day), word(time.hour),
            word(time.minute), word(time.second), 0};
}

CalendarTime fields_of(const SYSTEMTIME& time) {
    return {time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond};
}

}  // namespace

std::optional<CalendarTime> utc_time(std::int64_t seconds) {
    using namespace std::chrono;
    const std::int64_t rest = (seconds % kSecondsPerEra + kSecondsPerEra) % kSecondsPerEra;
    const std::int64_t era = seconds / kSecondsPerEra - (seconds % kSecondsPerEra < 0 ? 1 : 0);
    const sys_seconds instant{std::chrono::seconds(rest)};
    const auto midnight = floor<days>(instant);
    const year_month_day date(midnight);
    const hh_mm_ss time(instant - midnight);
    const std::int64_t year = era * kYearsPerEra + int{date.year()};
    if (!std::in_range<int>(year)) return std::nullopt;  // the limit of std::tm on other systems
    return CalendarTime{year,
                        unsigned{date.month()},
                        unsigned{date.day()},
                        static_cast<std::uint32_t>(time.hours().count()),
                        static_cast<std::uint32_t>(time.minutes().count()),
                        static_cast<std::uint32_t>(time.seconds().count())};
}

std::optional<CalendarTime> local_time(std::int64_t seconds) {
    const auto utc = utc_time(seconds);
    if (!utc || utc->year < kFirstSystemYear || utc->year > kLastSystemYear) return std::nullopt;
    DYNAMIC_TIME_ZONE_INFORMATION zone{};
    TIME_ZONE_INFORMATION rules{};
    if (::GetDynamicTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID ||
        ::GetTimeZoneInformationForYear(word(utc->year), &zone, &rules) == 0)
        return std::nullopt;
    const SYSTEMTIME instant = system_time_of(*utc);
    SYSTEMTIME local{};
    if (::SystemTimeToTzSpecificLocalTime(&rules, &instant, &local) == 0) return std::nullopt;
    return fields_of(local);
}

}  // namespace platform
