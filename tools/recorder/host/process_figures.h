#pragma once

#include <cstdint>

namespace recorder {

/// Resources of this process, which includes the module. Zeros on systems that do not provide them.
struct ProcessFigures {
    std::uint64_t resident_kilobytes = 0;
    std::uint64_t descriptors = 0;
    std::uint64_t threads = 0;
};

[[nodiscard]] ProcessFigures process_figures();

}  // namespace recorder
