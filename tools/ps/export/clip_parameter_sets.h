#pragma once

#include <string>

#include "tools/ps/export/export_frames.h"

namespace ps_tool {

/// Reads the parameter sets of a clip's first H.264 track from the AVC configuration box of its sample
/// description (ISO/IEC 14496-15, 5.3.3.1). Throws cli::CannotRun if the clip cannot be opened, ExportRefused
/// if it has none.
[[nodiscard]] ParameterSetUnits parameter_sets_of(const std::string& clip);

}  // namespace ps_tool
