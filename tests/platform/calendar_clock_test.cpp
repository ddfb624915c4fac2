#include "platform/calendar.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>

#include "platform/clock.h"
#include "tests/support/time_zone.h"

namespace {

/// "2018-6-22 16:5:9", or "none".
std::string text_of(const std::optional<platform::CalendarTime>& time) {
    if (!time) return "none";
    return std::to_string(time->year) + "-" + std::to_string(time->month) + "-" + std::to_string(time->day) +
           " " + std::to_string(time->hour) + ":" + std::to_string(time->minute) + ":" +
           std::to_string(time->second);
}

}  // namespace

TEST(CalendarTest, UtcIsIndependentOfTheTimeZone) {
    const TimeZone here(kCentralEurope);
    const std::pair<std::int64_t, const char*> times[] = {
        {0, "1970-1-1 0:0:0"},
        {-1, "1969-12-31 23:59:59"},
        {1'529'683'509, "2018-6-22 16:5:9"},
        {951'782'400, "2000-2-29 0:0:0"},
        {4'107'542'400, "2100-3-1 0:0:0"},  // not a leap year
        {1'000'000'000'000'000, "31690708-7-5 1:46:40"},
        {std::numeric_limits<std::int64_t>::max(), "none"},
        {std::numeric_limits<std::int64_t>::min(), "none"},
    };
    for (const auto& [seconds, text] : times) EXPECT_EQ(text_of(platform::utc_time(seconds)), text);
    EXPECT_EQ(text_of(platform::local_time(std::numeric_limits<std::int64_t>::max())), "none");
}

TEST(CalendarTest, LocalTimeUsesTheCurrentTimeZone) {
    if (!kZonesCanBeSet) GTEST_SKIP() << "a process cannot set its time zone on this system";
    const TimeZone here(kCentralEurope);
    EXPECT_EQ(text_of(platform::local_time(1'529'683'509)), "2018-6-22 18:5:9");
    set_zone("XYZ5");  // without a call of tzset
    EXPECT_EQ(text_of(platform::local_time(1'529'683'509)), "2018-6-22 11:5:9");
}

TEST(ClockTest, TicksCountFrom1970AndSecondsRoundTowardZero) {
    EXPECT_EQ(platform::seconds_of(19'999'999), 1);
    EXPECT_EQ(platform::seconds_of(-9'999'999), 0);
    EXPECT_EQ(platform::seconds_of(-10'000'001), -1);
    EXPECT_EQ(platform::seconds_of(4'294'967'294 * platform::kTicksPerSecond), -2);  // narrowed to 32 bits
    const std::int64_t difference =
        platform::system_clock().now() / platform::kTicksPerSecond - std::time(nullptr);
    EXPECT_LT(std::abs(difference), 3'600);  // checks epoch and unit, also on a slow machine
}

TEST(SleeperTest, SleepTakesTheTime) {
    const auto start = std::chrono::steady_clock::now();
    platform::system_sleeper().sleep(std::chrono::milliseconds(20));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
}
