#pragma once

// The recording that a clip has to become, worked out from docs/recording-format.md and not with the code
// that writes recordings.

#include <string>

#include "tools/clip_maker/clip_maker.h"
#include "tools/recorder/host/host_documents.h"

namespace recorder::validate {

/// The two files' bytes.
struct Pair {
    std::string data;
    std::string index;
};

/// The pair for a clip that starts at an instant; kind is 0x80, 0x40 or 0.
[[nodiscard]] Pair expected_pair(const clip_maker::Clip& clip, Seconds start, std::uint8_t kind,
                                 const std::string& input_name);

/// "the same", or where the first byte differs.
[[nodiscard]] std::string difference(const std::string& found, const std::string& expected);

}  // namespace recorder::validate
