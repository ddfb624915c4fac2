#pragma once

// Times on the command line.

#include <cstdint>
#include <optional>
#include <string>

namespace ps_tool {

/// The system's time in ms since 1970, UTC.
[[nodiscard]] std::int64_t now_milliseconds();

/// The zone of times that do not state their own.
class Zone {
  public:
    /// UTC.
    Zone() = default;
    /// "UTC", "local" (the system's zone, which TZ can change), or an offset like "+02:00". Nothing for other
    /// texts.
    [[nodiscard]] static std::optional<Zone> parse(const std::string& text);

    /// Converts ms since 1970 in this zone to UTC. A time that the zone has twice is the first one; one that
    /// it skips is as long after the last time before.
    [[nodiscard]] std::int64_t to_utc(std::int64_t local) const;
    [[nodiscard]] std::int64_t to_local(std::int64_t utc) const;

  private:
    bool system_ = false;
    std::int64_t offset_ = 0;  // ms, without system_
};

/// Reads a time: "2018-06-22T16:05:09.000" with "Z", an offset, or in the zone; a date, which is its
/// midnight; "now", "today" or "yesterday", which are midnights too. Returns ms since 1970, UTC.
[[nodiscard]] std::optional<std::int64_t> parse_time(const std::string& text, const Zone& zone,
                                                     std::int64_t now);

}  // namespace ps_tool
