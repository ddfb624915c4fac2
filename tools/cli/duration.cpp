#include "tools/cli/duration.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace cli {
namespace {

struct DurationUnit {
    std::string_view name;
    std::int64_t length = 1;  // ms
};

constexpr std::int64_t kSecondLength = 1000;
constexpr std::int64_t kMinuteLength = 60 * kSecondLength;
constexpr std::int64_t kHourLength = 60 * kMinuteLength;
constexpr std::int64_t kDayLength = 24 * kHourLength;
constexpr std::array kDurationUnits = {DurationUnit{"d", kDayLength}, DurationUnit{"h", kHourLength},
                                       DurationUnit{"min", kMinuteLength}, DurationUnit{"s", kSecondLength},
                                       DurationUnit{"ms", 1}};

}  // namespace

std::optional<std::int64_t> parse_duration(std::string_view text) {
    constexpr std::ptrdiff_t kMaxDigits = 9;  // a number of days of this length cannot overflow
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    std::uint32_t number = 0;
    const auto [after, error] = std::from_chars(begin, end, number);
    if (error != std::errc() || after - begin > kMaxDigits) return std::nullopt;
    const std::string_view name(after, static_cast<std::size_t>(end - after));
    const auto* const unit = std::ranges::find(kDurationUnits, name, &DurationUnit::name);
    if (unit == kDurationUnits.end()) return std::nullopt;
    return number * unit->length;
}

std::string duration_text(std::int64_t milliseconds) {
    if (milliseconds < kSecondLength) return fmt::format("{} ms", milliseconds);
    if (milliseconds < kMinuteLength)
        return fmt::format("{} s", static_cast<double>(milliseconds) / kSecondLength);
    const auto* const unit = std::ranges::find_if(
        kDurationUnits, [&](const DurationUnit& one) { return one.length <= milliseconds; });
    const DurationUnit& smaller = *(unit + 1);
    const std::int64_t rest = milliseconds % unit->length / smaller.length;
    return fmt::format("{} {}{}", milliseconds / unit->length, unit->name,
                       rest == 0 ? "" : fmt::format(" {} {}", rest, smaller.name));
}

}  // namespace cli
