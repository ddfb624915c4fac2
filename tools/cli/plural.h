#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

/// "1 frame", "2 frames".
[[nodiscard]] inline std::string plural(std::uint64_t count, std::string_view noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

}  // namespace cli
