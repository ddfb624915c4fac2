#pragma once

#include <filesystem>
#include <string>

#include "bench/ratios/measure.h"

namespace bench {

[[nodiscard]] std::string text_table(const Figures& figures);
[[nodiscard]] std::string markdown_table(const Figures& figures);
[[nodiscard]] std::string json(const Figures& figures);

/// A line for every figure that is worse than in the file of earlier figures, as json() wrote it, by more
/// than noise; empty when there is none, or no such file.
[[nodiscard]] std::string worse_than(const std::filesystem::path& baseline, const Figures& figures);

}  // namespace bench
