#include <ctime>

#include "platform/calendar.h"

namespace platform {
namespace {

CalendarTime fields_of(const std::tm& broken_down) {
    return {
        std::int64_t{broken_down.tm_year} + 1900,        static_cast<std::uint32_t>(broken_down.tm_mon + 1),
        static_cast<std::uint32_t>(broken_down.tm_mday), static_cast<std::uint32_t>(broken_down.tm_hour),
        static_cast<std::uint32_t>(broken_down.tm_min),  static_cast<std::uint32_t>(broken_down.tm_sec)};
}

}  // namespace

std::optional<CalendarTime> utc_time(std::int64_t seconds) {
    std::tm broken_down{};
    if (::_gmtime64_s(&broken_down, &seconds) != 0) return std::nullopt;
    return fields_of(broken_down);
}

std::optional<CalendarTime> local_time(std::int64_t seconds) {
    ::_tzset();  // the zone may have changed since the process's first call
    std::tm broken_down{};
    if (::_localtime64_s(&broken_down, &seconds) != 0) return std::nullopt;
    return fields_of(broken_down);
}

}  // namespace platform
