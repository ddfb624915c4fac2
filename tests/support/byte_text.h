#pragma once

// Bytes as hexadecimal text and back. Tests keep bytes in std::string, which can be compared, joined and cut.

#include <string>
#include <string_view>

#include "tools/clip_maker/byte_text.h"

using clip_maker::be16, clip_maker::be32, clip_maker::be64, clip_maker::zeros;

/// "00 0A FF" as three bytes. Characters other than 0-9 and A-F are skipped.
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

/// The inverse, with a space between bytes.
inline std::string to_hex(std::string_view bytes) {
    std::string text;
    for (const char c : bytes) {
        for (const int digit : {c >> 4 & 15, c & 15}) text += "0123456789ABCDEF"[digit];
        text += ' ';
    }
    return text.substr(0, text.empty() ? 0 : text.size() - 1);
}
