#include "tools/cli/base64.h"

#include <cstdint>

namespace cli {

std::string base64(std::string_view bytes) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto byte_at = [&](std::size_t i) {
        return i < bytes.size() ? static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) : 0U;
    };
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::uint32_t bits = byte_at(i) << 16U | byte_at(i + 1) << 8U | byte_at(i + 2);
        text += kDigits[bits >> 18U & 63U];
        text += kDigits[bits >> 12U & 63U];
        text += i + 1 < bytes.size() ? kDigits[bits >> 6U & 63U] : '=';
        text += i + 2 < bytes.size() ? kDigits[bits & 63U] : '=';
    }
    return text;
}

}  // namespace cli
