#include "tools/reader/packet_time.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
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

/// Removes a number of exactly `digits` digits from the front of the text, and one of the characters in
/// `separators` after it, if any are given.
std::optional<int> take_number(std::string_view& text, std::size_t digits, std::string_view separators) {
    int value = 0;
    const char* const end = text.data() + std::min(digits, text.size());
    const auto parsed = std::from_chars(text.data(), end, value);
    if (parsed.ec != std::errc() || parsed.ptr != text.data() + digits || text[0] == '-') return std::nullopt;
    text.remove_prefix(digits);
    if (separators.empty()) return value;
    if (text.empty() || separators.find(text[0]) == std::string_view::npos) return std::nullopt;
    text.remove_prefix(1);
    return value;
}

/// Removes an optional fraction of a second, ".5" to ".500". Returns milliseconds.
std::optional<int> take_fraction(std::string_view& text) {
    if (text.empty() || text[0] != '.') return 0;
    text.remove_prefix(1);
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    if (digits == 0 || digits > 3) return std::nullopt;
    const auto value = take_number(text, digits, "");
    constexpr std::array kScale = {0, 100, 10, 1};
    return value ? std::optional(*value * kScale.at(digits)) : std::nullopt;
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
    const auto year = take_number(text, 4, "-");
    const auto month = year ? take_number(text, 2, "-") : std::nullopt;
    const auto day = month ? take_number(text, 2, "T ") : std::nullopt;
    const auto hour = day ? take_number(text, 2, ":") : std::nullopt;
    const auto minute = hour ? take_number(text, 2, ":") : std::nullopt;
    const auto second = minute ? take_number(text, 2, "") : std::nullopt;
    const auto fraction = second ? take_fraction(text) : std::nullopt;
    if (!fraction || (!text.empty() && text != "Z")) return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year(*year),
                                           std::chrono::month(static_cast<unsigned>(*month)),
                                           std::chrono::day(static_cast<unsigned>(*day))};
    if (!date.ok() || *hour > 23 || *minute > 59 || *second > 59) return std::nullopt;
    const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
    const std::int64_t seconds = ((days * 24 + *hour) * 60 + *minute) * 60 + *second;
    return seconds * 1000 + *fraction;
}

}  // namespace reader
