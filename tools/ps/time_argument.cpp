#include "tools/ps/time_argument.h"

#include <chrono>
#include <regex>

#include "platform/calendar.h"
#include "platform/clock.h"
#include "tools/ps/coverage/timeline.h"
#include "tools/reader/packet_time.h"

namespace ps_tool {
namespace {

/// "+02:00" in ms.
std::optional<std::int64_t> parse_offset(const std::string& text) {
    static const std::regex form(R"(([+-])(\d\d):([0-5]\d))");
    std::smatch part;
    if (!std::regex_match(text, part, form)) return std::nullopt;
    const std::int64_t size = (std::stoll(part[2]) * 60 + std::stoll(part[3])) * kMsPerMinute;
    return part[1] == "-" ? -size : size;
}

/// The difference between the system's zone and UTC at a time, in ms.
std::int64_t system_offset(std::int64_t utc) {
    using namespace std::chrono;
    const std::int64_t seconds = floor<std::chrono::seconds>(milliseconds(utc)).count();
    const auto local = platform::local_time(seconds);
    if (!local) return 0;
    const sys_days day{year_month_day(year(static_cast<int>(local->year)), month(local->month),
                                      std::chrono::day(local->day))};
    const auto time = day + hours(local->hour) + minutes(local->minute) + std::chrono::seconds(local->second);
    return (time.time_since_epoch().count() - seconds) * 1000;
}

std::int64_t midnight_before(std::int64_t local) {
    return std::chrono::floor<std::chrono::days>(std::chrono::milliseconds(local)).count() * kDay;
}

}  // namespace

std::int64_t now_milliseconds() {
    return platform::system_clock().now() / (platform::kTicksPerSecond / 1000);
}

std::optional<Zone> Zone::parse(const std::string& text) {
    Zone zone;
    if (text == "UTC") return zone;
    zone.system_ = text == "local";
    if (zone.system_) return zone;
    const auto offset = parse_offset(text);
    if (!offset) return std::nullopt;
    zone.offset_ = *offset;
    return zone;
}

std::int64_t Zone::to_utc(std::int64_t local) const {
    if (!system_) return local - offset_;
    // The offset of a day earlier is that before a change of the clock.
    const std::int64_t first = local - system_offset(local - kDay);
    if (to_local(first) == local) return first;
    const std::int64_t second = local - system_offset(local + kDay);
    return to_local(second) == local ? second : first;
}

std::int64_t Zone::to_local(std::int64_t utc) const {
    return utc + (system_ ? system_offset(utc) : offset_);
}

std::optional<std::int64_t> parse_time(const std::string& text, const Zone& zone, std::int64_t now) {
    if (text == "now") return now;
    const std::int64_t midnight = midnight_before(zone.to_local(now));
    if (text == "today") return zone.to_utc(midnight);
    if (text == "yesterday") return zone.to_utc(midnight - kDay);
    static const std::regex form(
        R"((\d{4}-\d\d-\d\d)(?:[T ](\d\d:\d\d(?::\d\d(?:\.\d{1,3})?)?)(Z|[+-]\d\d:\d\d)?)?)");
    std::smatch part;
    if (!std::regex_match(text, part, form)) return std::nullopt;
    std::string time = part[2].matched ? part[2].str() : "00:00:00";
    if (time.size() == std::string_view("00:00").size()) time += ":00";
    const auto fields = reader::parse_instant(part[1].str() + "T" + time);
    if (!fields || !part[3].matched) return fields ? std::optional(zone.to_utc(*fields)) : std::nullopt;
    return *fields - (part[3] == "Z" ? 0 : parse_offset(part[3]).value_or(0));
}

}  // namespace ps_tool
