#include "convert/frame_calendar.h"

#include <cmath>

namespace norvane {
namespace {

/// Longer ago or ahead than any calendar goes, and safely inside 64 bits.
constexpr double kCalendarReach = 1e18;  // seconds

constexpr std::int64_t kLastSecond = 59;  // of a minute; a leap second is asked for on its own

}  // namespace

bool FrameCalendar::set_time(PsFrame& frame, double time) {
    if (!(std::abs(time) < kCalendarReach)) return false;  // also for what is no number
    const auto seconds = static_cast<std::int64_t>(time);
    if (!look_up(seconds)) return false;
    frame.year = static_cast<std::uint16_t>(named_->year);
    frame.month = static_cast<std::uint16_t>(named_->month);
    frame.day = static_cast<std::uint16_t>(named_->day);
    frame.hour = named_->hour;
    frame.minute = named_->minute;
    frame.second = static_cast<std::uint32_t>(named_->second + (seconds - named_at_));
    frame.millisecond = static_cast<std::uint32_t>((time - static_cast<double>(seconds)) * 1000);
    return true;
}

bool FrameCalendar::look_up(std::int64_t seconds) {
    if (named_ && seconds >= named_at_ && seconds - named_at_ + named_->second <= kLastSecond) return true;
    named_ = platform::utc_time(seconds);
    named_at_ = seconds;
    return named_.has_value();
}

}  // namespace norvane
