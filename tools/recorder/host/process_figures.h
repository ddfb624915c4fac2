#pragma once

#include <cstdint>

#include "platform/process.h"

namespace recorder {

using ProcessFigures = platform::Resources;

[[nodiscard]] inline ProcessFigures process_figures() {
    return platform::resources();
}

/// In kilobytes.
[[nodiscard]] std::int64_t memory_growth(const ProcessFigures& before, const ProcessFigures& after);

/// Throws ModuleFault if there are more threads or descriptors, or if memory grew by more kilobytes. With a
/// sanitizer, which keeps freed memory, memory may grow further.
void require_no_growth(const ProcessFigures& before, const ProcessFigures& after, std::int64_t kilobytes);

}  // namespace recorder
