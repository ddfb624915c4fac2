#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tools/reader/faults.h"
#include "tools/reader/packet.h"
#include "tools/reader/recording.h"
#include "tools/reader/verify.h"

namespace reader {

/// What is intact in a damaged data file, and the data file that can be built from it: pack header and map,
/// then the ranges, with the corrections.
struct Salvage {
    /// Bytes of the damaged file with whole packets, back to back.
    struct Range {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
    };
    StreamMap::Bytes map{};
    bool map_rebuilt = false;  // from constants and packets; otherwise it is the one of the file
    std::vector<Range> ranges;
    std::vector<Correction> corrections;  // offsets in the new file
    std::uint32_t frames = 0;
    std::uint64_t dropped_bytes = 0;
    /// The number of frames that the index has and the ranges have not. Nothing without a usable index.
    std::optional<std::uint32_t> dropped_frames;
};

/// Finds the intact packets: those with a valid header, after the corrections of the report, that are
/// followed by another packet, by the end of the file, or by damage that begins after them.
[[nodiscard]] Salvage salvage(Recording& recording, const Report& report);

}  // namespace reader
