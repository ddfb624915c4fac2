#pragma once

#include <cstdint>
#include <optional>

#include "platform/calendar.h"
#include "ps/ps_writer.h"

namespace norvane {

/// Names the UTC calendar time of frames. Asks the system once a minute of video, not once a frame; a minute
/// because that is what no leap second and no zone file changes in the middle.
class FrameCalendar {
  public:
    /// Fills the frame's calendar fields from seconds since 1970, cut to the millisecond; false when the
    /// calendar cannot name that instant.
    [[nodiscard]] bool set_time(PsFrame& frame, double time);

  private:
    [[nodiscard]] bool look_up(std::int64_t seconds);

    std::optional<platform::CalendarTime> named_;  // the instant that was last asked for
    std::int64_t named_at_ = 0;                    // seconds since 1970
};

}  // namespace norvane
