#pragma once

#include <cstdint>
#include <optional>

#include "platform/calendar.h"
#include "ps/ps_writer.h"

namespace norvane {

/// Converts frame times to UTC calendar time. Caches the result per minute, because neither leap seconds nor
/// zone rules change within a minute.
class FrameCalendar {
  public:
    /// Sets the frame's calendar fields from seconds since 1970, truncated to milliseconds. Returns false if
    /// the time is outside the calendar's range.
    [[nodiscard]] bool set_time(PsFrame& frame, double time);

  private:
    [[nodiscard]] bool look_up(std::int64_t seconds);

    std::optional<platform::CalendarTime> cached_;  // the last time that was looked up
    std::int64_t cached_seconds_ = 0;               // seconds since 1970
};

}  // namespace norvane
