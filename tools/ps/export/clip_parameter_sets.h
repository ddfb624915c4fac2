#pragma once

#include <string>

#include "tools/ps/export/export_frames.h"

namespace ps_tool {

/// The parameter sets of a clip's first H.264 track, out of the AVC configuration box of its sample
/// description (ISO/IEC 14496-15, 5.3.3.1). Throws cli::CannotRun for a clip that cannot be opened, Refused
/// for one without.
[[nodiscard]] GivenSets parameter_sets_of(const std::string& clip);

}  // namespace ps_tool
