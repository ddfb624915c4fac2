#include <ctime>

#include "platform/broken_down_time.h"

namespace platform {

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
