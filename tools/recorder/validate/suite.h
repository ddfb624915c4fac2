#pragma once

#include "tools/recorder/host/options.h"

namespace recorder::validate {

/// Lists the chosen cases, or runs each in its own process. Returns the exit status. Throws cli::CannotRun.
[[nodiscard]] int run_suite(const Options& options);

/// Runs one case in this process. Prints its finding to standard error and the conversation to standard
/// output.
[[nodiscard]] int run_case(const Options& options);

}  // namespace recorder::validate
