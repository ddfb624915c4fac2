#pragma once

#include "tools/cli/json_list.h"
#include "tools/reader/curve.h"
#include "tools/reader/verify.h"

namespace ps_tool {

/// A recording in JSON (docs/schemas/norvanepi-ps.schema.json).
[[nodiscard]] cli::Json json_of(const reader::Report& report);

/// The same with its curve, as `verify` shows it and `report` reads it.
[[nodiscard]] cli::Json json_of(const reader::Report& report, const reader::Curve& curve);

}  // namespace ps_tool
