#pragma once

#include "tools/ps/command.h"
#include "tools/ps/coverage/coverage.h"

namespace ps_tool {

/// The limits of the period on the command line. Throws cli::CannotRun if they are in the wrong order, or in
/// years that recordings cannot store.
[[nodiscard]] PeriodLimits limits_of(const TimeRange& range);

}  // namespace ps_tool
