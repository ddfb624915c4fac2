#pragma once

#include <cstdint>
#include <limits>
#include <optional>

namespace platform {

/// The value of a text of at most ten decimal digits and nothing else, which is how integers nearly always
/// come. Nothing for any other text and for what passes 31 bits: such a text may still be an integer to a
/// reader that knows blanks, signs and prefixes, and takes ten times as long.
[[nodiscard]] constexpr std::optional<std::int32_t> plain_integer(const char* text) noexcept {
    constexpr int kMaxDigits = 10;
    std::int64_t value = 0;
    int digits = 0;
    for (; *text >= '0' && *text <= '9' && digits < kMaxDigits; ++digits)
        value = value * 10 + (*text++ - '0');
    if (digits == 0 || *text != '\0' || value > std::numeric_limits<std::int32_t>::max()) return std::nullopt;
    return static_cast<std::int32_t>(value);
}

}  // namespace platform
