#pragma once

#include "tools/recorder/options.h"

namespace recorder::validate {

/// Lists the cases, or tries the module with those that were asked for, each in a process of its own. Gives
/// the exit status. Throws cli::CannotRun.
[[nodiscard]] int run_suite(const Options& options);

/// The one case of such a process: its finding goes to standard error, the conversation to standard output.
[[nodiscard]] int run_case(const Options& options);

}  // namespace recorder::validate
