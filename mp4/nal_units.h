#pragma once

#include <cstdint>
#include <span>

#include "mp4/box_reader.h"

/// insert_nal_tags: the sample is unusable.
inline constexpr std::int64_t kBadNalLength = -1;

/// Reads one sample from the reader's position into the buffer and puts a start code (ITU-T H.264, Annex B)
/// in place of every 4-byte NAL unit length (ISO/IEC 14496-15, 5.3.4.2). Reads units until they cover size
/// bytes, also past it when they do not add up. The count of bytes placed, or kBadNalLength when a unit is
/// longer than the track's largest sample, would pass the end of the buffer, or ends behind the end of the
/// clip.
[[nodiscard]] std::int64_t insert_nal_tags(std::uint32_t size, std::uint32_t largest_sample_size,
                                           BoxReader& in, std::span<platform::Byte> buffer);
