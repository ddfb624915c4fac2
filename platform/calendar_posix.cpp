#include <ctime>

#include "platform/broken_down_time.h"

namespace platform {

std::optional<CalendarTime> utc_time(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm broken_down{};
    if (::gmtime_r(&time, &broken_down) == nullptr) return std::nullopt;
    return fields_of(broken_down);
}

std::optional<CalendarTime> local_time(std::int64_t seconds) {
    ::tzset();  // localtime_r alone would stay with the zone of the process's first call
    const std::time_t time = seconds;
    std::tm broken_down{};
    if (::localtime_r(&time, &broken_down) == nullptr) return std::nullopt;
    return fields_of(broken_down);
}

}  // namespace platform
