#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/bytes.h"

namespace h264 {

/// True if a sequence and a picture parameter set precede the frame's first slice. The units of the frame
/// have start codes.
[[nodiscard]] bool has_parameter_sets(std::span<const platform::Byte> frame);

/// Makes `to` the frame with the sets in front of its first unit, or after that unit if it is an access unit
/// delimiter, which must remain the first (ITU-T H.264, 7.4.1.2.3). Frame and sets have start codes.
void put_parameter_sets(std::span<const platform::Byte> frame, std::span<const platform::Byte> sets,
                        std::vector<platform::Byte>& to);

}  // namespace h264
