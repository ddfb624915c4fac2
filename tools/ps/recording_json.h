#pragma once

#include "tools/cli/json_list.h"
#include "tools/ps/coverage/coverage.h"
#include "tools/reader/curve.h"
#include "tools/reader/verify.h"

namespace ps_tool {

/// A recording in the form that `verify` and `info` share (docs/schemas/norvanepi-ps.schema.json).
[[nodiscard]] cli::Json json_of(const reader::Report& report);

/// The form with its curve and its recorded time that `verify` prints and `report` reads.
[[nodiscard]] cli::Json json_of(const reader::Report& report, const reader::Curve& curve,
                                const std::vector<FrameSpan>& recorded);

}  // namespace ps_tool
