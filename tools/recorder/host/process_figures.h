#pragma once

#include <cstdint>

namespace recorder {

/// What this process, and with it the plug-in, holds of the system; zeros where the system does not tell.
struct ProcessFigures {
    std::uint64_t resident_kilobytes = 0;
    std::uint64_t descriptors = 0;
    std::uint64_t threads = 0;
};

[[nodiscard]] ProcessFigures process_figures();

}  // namespace recorder
