#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "mp4/box_reader.h"

/// Reads one sample from the reader's position and puts a start code (ITU-T H.264, Annex B) in place of every
/// 4-byte NAL unit length (ISO/IEC 14496-15, 5.3.4.2). Reads units until they cover size bytes, also past it
/// when they do not add up. The frame's bytes, in the reader's window until the reader is used again; nothing
/// when a unit is longer than the track's largest sample, would pass the limit on a frame's length, or ends
/// behind the end of the clip.
[[nodiscard]] std::optional<std::span<const platform::Byte>> insert_nal_tags(
    std::uint32_t size, std::uint32_t largest_sample_size, std::size_t limit, BoxReader& in);
