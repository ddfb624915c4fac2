#include "tools/reader/packet_time.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "ps/encodings.h"

namespace reader {
namespace {

constexpr int kFirstYear = 2000;
constexpr int kLastYear = 2127;

std::chrono::year_month_day day_of(std::uint16_t date) {
    return {std::chrono::year(kFirstYear + (date >> 9U)), std::chrono::month((date >> 5U) & 15U),
            std::chrono::day(date & 31U)};
}

std::string text_of(const PacketTime& time, char joint, std::string_view end) {
    const auto day = day_of(time.date);
    const std::uint32_t seconds = time.milliseconds / 1000;
    return fmt::format("{:04}-{:02}-{:02}{}{:02}:{:02}:{:02}.{:03}{}", static_cast<int>(day.year()),
                       static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()), joint,
                       seconds / 3600, seconds / 60 % 60, seconds % 60, time.milliseconds % 1000, end);
}

}  // namespace

/// Years are stored modulo 128. 29 February 2100 does not exist, but 29 February 1972 and 2228 are stored
/// alike.
bool PacketTime::plausible() const {
    using namespace std::chrono;
    const year_month_day day = day_of(date);
    const bool leap_day =
        day.month() == February && day.day() == std::chrono::day(29) && int{day.year()} % 4 == 0;
    return milliseconds < kMillisecondsPerDay && (leap_day || day.ok());
}

std::string text_of(const PacketTime& time) {
    return text_of(time, ' ', "");
}

std::string rfc3339(const PacketTime& time) {
    return text_of(time, 'T', "Z");
}

std::int64_t instant_of(const PacketTime& time) {
    const auto days = std::chrono::sys_days(day_of(time.date)).time_since_epoch();
    return std::int64_t{days.count()} * kMillisecondsPerDay + time.milliseconds;
}

std::optional<PacketTime> packet_time_of(std::int64_t instant) {
    const std::chrono::sys_time<std::chrono::milliseconds> time{std::chrono::milliseconds(instant)};
    const auto midnight = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day day(midnight);
    const int year = static_cast<int>(day.year());
    if (year < kFirstYear || year > kLastYear) return std::nullopt;
    return PacketTime{date16(static_cast<std::uint32_t>(year), static_cast<unsigned>(day.month()),
                             static_cast<unsigned>(day.day())),
                      static_cast<std::uint32_t>((time - midnight).count())};
}

std::optional<std::int64_t> parse_instant(std::string_view text) {
    constexpr std::string_view kForm = "0000-00-00T00:00:00.000";
    constexpr std::size_t kSeconds = 19;  // characters up to the seconds
    if (text.ends_with('Z')) text.remove_suffix(1);
    if (text.size() < kSeconds || text.size() == kSeconds + 1 || text.size() > kForm.size())
        return std::nullopt;
    const std::string all = std::string(text).append(kForm.substr(text.size()));
    const auto fits = [](char c, char form) {
        return form == '0' ? c >= '0' && c <= '9' : c == form || (c == ' ' && form == 'T');
    };
    if (!std::ranges::equal(all, kForm, fits)) return std::nullopt;
    const auto number = [&all](std::size_t at, std::size_t digits) {
        return static_cast<unsigned>(std::stoul(all.substr(at, digits)));
    };
    using namespace std::chrono;
    const year_month_day date{year(static_cast<int>(number(0, 4))), month(number(5, 2)), day(number(8, 2))};
    if (!date.ok() || number(11, 2) > 23 || number(14, 2) > 59 || number(17, 2) > 59) return std::nullopt;
    const auto time = sys_days(date) + hours(number(11, 2)) + minutes(number(14, 2)) +
                      seconds(number(17, 2)) + milliseconds(number(20, 3));
    return time.time_since_epoch().count();
}

}  // namespace reader
