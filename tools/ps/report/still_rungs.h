#pragma once

// The forms of a picture in a report, from the best one to the smallest one.

#include <array>
#include <string>

namespace ps_tool {

struct StillRung {
    int width = 0;      // pixels, at most
    int quantizer = 0;  // scale of JPEG's quantization tables; a larger one gives smaller pictures
};

/// The quality becomes lower first, then the size.
inline constexpr std::array kStillRungs = {StillRung{320, 4}, StillRung{320, 7}, StillRung{320, 12},
                                           StillRung{240, 12}, StillRung{160, 12}};

/// JPEG images of one picture by rung. Empty where one is not needed.
using StillImages = std::array<std::string, kStillRungs.size()>;

}  // namespace ps_tool
