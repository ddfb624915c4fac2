#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

/// "1 frame", "2 frames".
[[nodiscard]] inline std::string counted(std::uint64_t count, std::string_view thing) {
    return fmt::format("{} {}{}", count, thing, count == 1 ? "" : "s");
}

}  // namespace cli
