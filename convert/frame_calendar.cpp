#include "convert/frame_calendar.h"

#include <cmath>

namespace norvane {
namespace {

/// Beyond the range of any calendar, and within 64 bits.
constexpr double kMaxSeconds = 1e18;

constexpr std::int64_t kLastSecond = 59;  // of a minute; a leap second is looked up separately

}  // namespace

bool FrameCalendar::set_time(PsFrame& frame, double time) {
    if (!(std::abs(time) < kMaxSeconds)) return false;  // also false for NaN
    const auto seconds = static_cast<std::int64_t>(time);
    if (!look_up(seconds)) return false;
    frame.year = static_cast<std::uint16_t>(cached_->year);
    frame.month = static_cast<std::uint16_t>(cached_->month);
    frame.day = static_cast<std::uint16_t>(cached_->day);
    frame.hour = cached_->hour;
    frame.minute = cached_->minute;
    frame.second = static_cast<std::uint32_t>(cached_->second + (seconds - cached_seconds_));
    frame.millisecond = static_cast<std::uint32_t>((time - static_cast<double>(seconds)) * 1000);
    return true;
}

bool FrameCalendar::look_up(std::int64_t seconds) {
    if (cached_ && seconds >= cached_seconds_ && seconds - cached_seconds_ + cached_->second <= kLastSecond)
        return true;
    cached_ = platform::utc_time(seconds);
    cached_seconds_ = seconds;
    return cached_.has_value();
}

}  // namespace norvane
