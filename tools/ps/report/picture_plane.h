#pragma once

// Planes of decoded pictures, and scaling them down.

#include <cstddef>
#include <vector>

#include "platform/bytes.h"

namespace ps_tool {

/// One component of a decoded picture, in memory of the decoder.
struct SamplePlane {
    const platform::Byte* samples = nullptr;
    std::ptrdiff_t stride = 0;  // bytes from one line to the next
    int width = 0;
    int height = 0;
    bool wide = false;  // samples have two bytes in the machine's order
    double gain = 1;    // a sample of the result is the mean times `gain`, plus `offset`
    double offset = 0;
};

/// A component with 8 bits per sample, without padding.
struct Plane {
    int width = 0;
    int height = 0;
    std::vector<platform::Byte> samples;
};

/// The mean of the area that each sample of the result covers.
[[nodiscard]] Plane scale_plane(const SamplePlane& from, int width, int height);

}  // namespace ps_tool
