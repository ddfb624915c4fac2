#pragma once

// Integers as the bytes of a file, to be joined.

#include <algorithm>
#include <cstdint>
#include <string>

namespace recorder {

/// The lowest bytes of a value, the highest of them first.
[[nodiscard]] inline std::string big(std::uint64_t value, int bytes) {
    std::string text;
    for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(value >> (8 * i) & 0xFFU);
    return text;
}

[[nodiscard]] inline std::string little(std::uint64_t value, int bytes) {
    std::string text = big(value, bytes);
    std::ranges::reverse(text);
    return text;
}

[[nodiscard]] inline std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

}  // namespace recorder
