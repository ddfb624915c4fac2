#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "mp4/box_reader.h"

/// Reads one sample at the reader's position and replaces every 4-byte NAL unit length (ISO/IEC 14496-15,
/// 5.3.4.2) with a start code (ITU-T H.264, Annex B). Reads units until they cover `size` bytes, and past
/// that if the last unit is longer. Returns the frame's bytes, valid until the reader is used again. Returns
/// nothing if a unit is longer than the track's largest sample, exceeds `limit` bytes for the frame, or ends
/// past the end of the clip.
[[nodiscard]] std::optional<std::span<const platform::Byte>> insert_nal_tags(
    std::uint32_t size, std::uint32_t largest_sample_size, std::size_t limit, BoxReader& in);

/// The same for lengths of 1 to 4 bytes. The units must end where the sample ends, or nothing is returned.
/// `buffer` is used for shorter lengths, whose sample grows.
[[nodiscard]] std::optional<std::span<const platform::Byte>> with_start_codes(
    std::uint32_t size, std::uint8_t length_size, BoxReader& in, std::vector<platform::Byte>& buffer);
