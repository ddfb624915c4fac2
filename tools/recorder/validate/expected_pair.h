#pragma once

// The expected recording of a clip, computed from docs/recording-format.md without the code that writes
// recordings.

#include <string>

#include "tools/clip_maker/clip_maker.h"
#include "tools/recorder/model/camera.h"

namespace recorder::validate {

/// The two files' bytes.
struct Pair {
    std::string data;
    std::string index;
};

/// The pair for a clip with this start. kind is 0x80, 0x40 or 0. With parameter sets, those of an "avc1"
/// entry precede each key frame.
[[nodiscard]] Pair expected_pair(const clip_maker::Clip& clip, Seconds start, std::uint8_t kind,
                                 const std::string& input_name, bool parameter_sets);

/// "the same", or the position of the first difference.
[[nodiscard]] std::string difference(const std::string& found, const std::string& expected);

}  // namespace recorder::validate
