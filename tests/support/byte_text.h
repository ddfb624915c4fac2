#pragma once

// Bytes as readable text and back. Tests hold bytes in std::string, which compares, joins and cuts.

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

/// "00 0A FF" as three bytes; whatever is no capital hexadecimal digit only separates.
inline std::string from_hex(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string bytes;
    bool half = false;
    for (const char c : text) {
        const std::size_t digit = kDigits.find(c);
        if (digit == std::string_view::npos) continue;
        if (!half) bytes.push_back('\0');
        bytes.back() = static_cast<char>(bytes.back() << 4 | static_cast<char>(digit));
        half = !half;
    }
    return bytes;
}

/// The other way, with a blank behind every byte but the last.
inline std::string to_hex(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        for (const int digit : {c >> 4 & 15, c & 15}) text += "0123456789ABCDEF"[digit];
        text += ' ';
    }
    return text.substr(0, text.empty() ? 0 : text.size() - 1);
}

/// An integer as the bytes of a clip.
template <std::unsigned_integral T>
std::string big_endian(T value) {
    std::string bytes;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        bytes += static_cast<char>(std::uint64_t{value} >> 8 * i & 0xFF);
    std::ranges::reverse(bytes);
    return bytes;
}
inline std::string be16(std::uint16_t value) {
    return big_endian(value);
}
inline std::string be32(std::size_t value) {
    return big_endian(static_cast<std::uint32_t>(value));
}
inline std::string be64(std::uint64_t value) {
    return big_endian(value);
}
inline std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}
