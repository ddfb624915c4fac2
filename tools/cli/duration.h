#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace cli {

/// Parses a whole number with a unit, ms, s, min, h or d, into milliseconds: "5s", "10min", "24h". Nothing if
/// the text has another form or more than nine digits.
[[nodiscard]] std::optional<std::int64_t> parse_duration(std::string_view text);

/// A duration in ms for people: "340 ms", "12.04 s", "34 min", "15 min 20 s", "2 d 3 h". From a minute on it
/// has at most two units and is rounded down.
[[nodiscard]] std::string duration_text(std::int64_t milliseconds);

}  // namespace cli
