#pragma once

// Included by the calendar files of the systems only.

#include <ctime>

#include "platform/calendar.h"

namespace platform {

/// The C library's counts, years from 1900 and months from 0, as the calendar names them.
[[nodiscard]] inline CalendarTime fields_of(const std::tm& broken_down) {
    return {
        std::int64_t{broken_down.tm_year} + 1900,        static_cast<std::uint32_t>(broken_down.tm_mon + 1),
        static_cast<std::uint32_t>(broken_down.tm_mday), static_cast<std::uint32_t>(broken_down.tm_hour),
        static_cast<std::uint32_t>(broken_down.tm_min),  static_cast<std::uint32_t>(broken_down.tm_sec)};
}

}  // namespace platform
