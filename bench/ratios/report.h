#pragma once

#include <string>

#include "bench/ratios/measure.h"

namespace bench {

[[nodiscard]] std::string markdown_table(const Figures& figures);
[[nodiscard]] std::string json(const Figures& figures);

/// The values by name, as JSON.
[[nodiscard]] std::string baseline(const Figures& figures);
/// One line for each figure that is worse than in the baseline file of an earlier run by more than noise.
[[nodiscard]] std::string regressions(const std::filesystem::path& baseline, const Figures& figures);

}  // namespace bench
