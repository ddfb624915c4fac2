#pragma once

#include "bench/ratios/measure.h"

// Each subject's figures; a wrong result ends the run. docs/performance.md says what they mean.

namespace bench {

[[nodiscard]] Figures conversion_figures(const Effort& effort);
[[nodiscard]] Figures growth_figures(const Effort& effort);
[[nodiscard]] Figures message_figures(const Effort& effort);
[[nodiscard]] Figures queue_figures(const Effort& effort);
[[nodiscard]] Figures state_figures(const Effort& effort);
[[nodiscard]] Figures verify_figures(const Effort& effort);

/// What a process of its own is started for, by this program itself: the highest memory above the idle module
/// while the clip is converted, or the saved state is read and written again, in bytes. No clip: only the
/// system calls around it.
[[nodiscard]] double conversion_memory(const std::filesystem::path& module,
                                       const std::filesystem::path& clip);
[[nodiscard]] double state_memory(const std::filesystem::path& module);

}  // namespace bench
