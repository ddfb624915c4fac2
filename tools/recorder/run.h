#pragma once

#include "tools/recorder/options.h"

namespace recorder {

/// Plays the scenario and shows what came of it; the exit status of the program. Throws cli::CannotRun.
[[nodiscard]] int run(const Options& options);

}  // namespace recorder
