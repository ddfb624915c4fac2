#pragma once

#include <string>

#include "tools/reader/verify.h"

namespace reader {

/// The index that a conversion would have left that ended, undisturbed, with the last whole packet: the
/// module's own writer is fed with the packets' headers. For recordings that are sound or mendable() as the
/// report says. Throws std::runtime_error when the data file cannot be read any more as it was.
[[nodiscard]] std::string rebuilt_index(Recording& recording, const Report& report);

}  // namespace reader
