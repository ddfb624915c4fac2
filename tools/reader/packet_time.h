#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace reader {

inline constexpr std::uint32_t kMillisecondsPerDay = 86'400'000;

/// An instant in UTC as packets carry it. The packed date sorts like the date.
struct PacketTime {
    std::uint16_t date = 0;          // date16; 0 names no date
    std::uint32_t milliseconds = 0;  // since midnight

    auto operator<=>(const PacketTime&) const = default;
    /// Whether there is such a day and such a time.
    [[nodiscard]] bool plausible() const;
};

/// "2018-06-22 16:05:09.000", for people.
[[nodiscard]] std::string text_of(const PacketTime& moment);

/// "2018-06-22T16:05:09.000Z", for programs (RFC 3339).
[[nodiscard]] std::string rfc3339(const PacketTime& moment);

/// Milliseconds since 1970-01-01 UTC, for differences; any number for a moment that is not plausible.
[[nodiscard]] std::int64_t instant_of(const PacketTime& moment);

/// The moment of an instant between 2000 and 2127, the years that packets can name.
[[nodiscard]] std::optional<PacketTime> packet_time_of(std::int64_t instant);

/// The instant of a UTC time in either form; date and time may be joined by a blank, and fraction and Z are
/// optional.
[[nodiscard]] std::optional<std::int64_t> parse_instant(std::string_view text);

}  // namespace reader
