// The C runtime refuses seconds before 1970, and takes the zone from TZ where the system's settings say more:
// the calendar is the standard library's, the zone the system's, with the rules of the year in question.

#include <windows.h>

#include <chrono>
#include <utility>

#include "platform/calendar.h"

namespace platform {
namespace {

/// The calendar repeats itself every 400 years, and std::chrono names fewer years than 64 bits of seconds do.
constexpr std::int64_t kYearsOfEra = 400;
constexpr std::int64_t kSecondsOfEra = 146'097LL * 86'400;

/// The years that the system's conversion takes.
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
    const std::int64_t rest = (seconds % kSecondsOfEra + kSecondsOfEra) % kSecondsOfEra;
    const std::int64_t era = seconds / kSecondsOfEra - (seconds % kSecondsOfEra < 0 ? 1 : 0);
    const sys_seconds moment{std::chrono::seconds(rest)};
    const auto midnight = floor<days>(moment);
    const year_month_day date(midnight);
    const hh_mm_ss time(moment - midnight);
    const std::int64_t year = era * kYearsOfEra + int{date.year()};
    if (!std::in_range<int>(year)) return std::nullopt;  // as far as the C libraries of other systems go
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
    const SYSTEMTIME moment = system_time_of(*utc);
    SYSTEMTIME local{};
    if (::SystemTimeToTzSpecificLocalTime(&rules, &moment, &local) == 0) return std::nullopt;
    return fields_of(local);
}

}  // namespace platform
