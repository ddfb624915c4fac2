#pragma once

#include <cstdint>

#include "platform/file.h"

namespace norvane {

/// True if the file contains a frame, and its first frame is not from this time (seconds since 1970). Local
/// time repeats an hour when clocks are set back, and two recordings then have the same name.
[[nodiscard]] bool holds_another_time(platform::InputFile& recording, std::int64_t time_base);

}  // namespace norvane
