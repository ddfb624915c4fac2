#pragma once

// Integers as the bytes of a file, in strings that can be joined.

#include <algorithm>
#include <cstdint>
#include <string>

namespace clip_maker {

/// The low `bytes` bytes of the value, most significant byte first.
[[nodiscard]] inline std::string big(std::uint64_t value, int bytes) {
    std::string text;
    for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(value >> (8 * i) & 0xFFU);
    return text;
}
[[nodiscard]] inline std::string be16(std::uint64_t value) {
    return big(value, 2);
}
[[nodiscard]] inline std::string be32(std::uint64_t value) {
    return big(value, 4);
}
[[nodiscard]] inline std::string be64(std::uint64_t value) {
    return big(value, 8);
}

/// The same, least significant byte first.
[[nodiscard]] inline std::string little(std::uint64_t value, int bytes) {
    std::string text = big(value, bytes);
    std::ranges::reverse(text);
    return text;
}

[[nodiscard]] inline std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

}  // namespace clip_maker
