#pragma once

#include "tools/recorder/options.h"

namespace recorder {

/// Runs the scenario and prints the results. Returns the exit status of the program. Throws cli::CannotRun.
[[nodiscard]] int run(const Options& options);

}  // namespace recorder
