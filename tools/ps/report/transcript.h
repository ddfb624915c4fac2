#pragma once

#include <istream>

#include "tools/ps/report/loss_tracker.h"

namespace ps_tool {

/// Reads a transcript of the recorder (docs/recorder.md). Throws std::runtime_error if a line is not a
/// transcript record.
void read_transcript(std::istream& lines, LossTracker& tracker);

}  // namespace ps_tool
