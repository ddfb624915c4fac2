#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace reader {

inline constexpr std::uint32_t kMillisecondsPerDay = 86'400'000;

/// A UTC time as stored in packets. Sorts chronologically.
struct PacketTime {
    std::uint16_t date = 0;          // date16; 0 is not a date
    std::uint32_t milliseconds = 0;  // since midnight

    auto operator<=>(const PacketTime&) const = default;
    /// True if the date and the time of day exist.
    [[nodiscard]] bool plausible() const;
};

/// "2018-06-22 16:05:09.000", for people.
[[nodiscard]] std::string text_of(const PacketTime& time);

/// "2018-06-22T16:05:09.000Z", for programs (RFC 3339).
[[nodiscard]] std::string rfc3339(const PacketTime& time);

/// Milliseconds since 1970-01-01 UTC. The result for a time that is not plausible is unspecified.
[[nodiscard]] std::int64_t instant_of(const PacketTime& time);

/// Converts milliseconds since 1970-01-01 UTC. Nothing outside the years that packets can store, 2000 to
/// 2127.
[[nodiscard]] std::optional<PacketTime> packet_time_of(std::int64_t instant);

/// Parses a UTC time in either form into milliseconds since 1970-01-01. Date and time may be separated by a
/// space; the fraction and the Z are optional.
[[nodiscard]] std::optional<std::int64_t> parse_instant(std::string_view text);

}  // namespace reader
