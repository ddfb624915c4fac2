#pragma once

// Bytes as readable text and back. Tests hold bytes in std::string, which compares, joins and cuts.

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

/// "00 0a FF" as three bytes; whatever is no hexadecimal digit only separates.
inline std::string from_hex(std::string_view text) {
    constexpr std::string_view kDigits = "0123456789ABCDEF0123456789abcdef";
    std::string bytes;
    bool half = false;
    for (const char c : text) {
        const std::size_t digit = kDigits.find(c);
        if (digit == std::string_view::npos) continue;
        if (!half) bytes.push_back('\0');
        bytes.back() = static_cast<char>(bytes.back() << 4 | static_cast<char>(digit % 16));
        half = !half;
    }
    return bytes;
}

/// The bytes as two capital digits each, blanks between and none at the end.
inline std::string to_hex(std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (!text.empty()) text += ' ';
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

/// An integer as the bytes of a clip.
template <std::unsigned_integral T>
std::string big_endian(T value) {
    std::string bytes(sizeof(T), '\0');
    for (std::size_t i = sizeof(T); i-- > 0; value = static_cast<T>(std::uint64_t{value} >> 8)) {
        bytes[i] = static_cast<char>(value & 0xFF);
    }
    return bytes;
}
inline std::string be16(std::uint16_t value) {
    return big_endian(value);
}
inline std::string be32(std::uint32_t value) {
    return big_endian(value);
}
inline std::string be64(std::uint64_t value) {
    return big_endian(value);
}
inline std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}
