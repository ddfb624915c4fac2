#pragma once

#include <string>

#include "tools/reader/verify.h"

namespace reader {

/// The complete index for the packets up to the last complete one. Passes the packets' headers to the
/// module's own writer. The report must be verified() or repairable(). Throws std::runtime_error if the data
/// file has changed since then.
[[nodiscard]] std::string rebuilt_index(Recording& recording, const Report& report);

}  // namespace reader
