#include "tools/reader/recording_path.h"

#include <regex>

namespace reader {

std::optional<RecordingPath> parse_recording_path(const std::string& data_path) {
    static const std::regex form(
        R"((?:.*[/\\])?(\d{4})[/\\](\d\d)[/\\](\d\d)[/\\](\d\d)[/\\](\d\d)(\d\d)-([0-9A-F]{8})e\.ps)");
    std::smatch part;
    if (!std::regex_match(data_path, part, form)) return std::nullopt;
    const auto instant = parse_instant(part.format("$1-$2-$3T$4:$5:$6Z"));
    const auto local = instant ? packet_time_of(*instant) : std::nullopt;
    if (!local) return std::nullopt;
    return RecordingPath{*local, part[7]};
}

std::optional<int> utc_offset_minutes(const PacketTime& utc, const PacketTime& local) {
    constexpr std::int64_t kQuarter = 900'000;  // ms
    constexpr std::int64_t kWest = -48 * kQuarter;
    constexpr std::int64_t kEast = 56 * kQuarter;
    const std::int64_t ahead = instant_of(local) - instant_of(utc);
    if (ahead % kQuarter != 0 || ahead < kWest || ahead > kEast) return std::nullopt;
    return static_cast<int>(ahead / 60'000);
}

}  // namespace reader
