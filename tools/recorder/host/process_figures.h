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

/// In kilobytes.
[[nodiscard]] std::int64_t memory_growth(const ProcessFigures& before, const ProcessFigures& after);

/// Throws ModuleFault if there are more threads or descriptors, or if memory grew by more kilobytes. With a
/// sanitizer, which keeps freed memory, memory may grow further.
void require_no_growth(const ProcessFigures& before, const ProcessFigures& after, std::int64_t kilobytes);

}  // namespace recorder
