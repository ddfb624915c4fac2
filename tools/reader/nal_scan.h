#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/bytes.h"

namespace reader {

/// Types of NAL units, ITU-T H.264, table 7-1.
inline constexpr std::uint8_t kSlice = 1;
inline constexpr std::uint8_t kSliceOfIdrPicture = 5;
inline constexpr std::uint8_t kSequenceParameterSet = 7;
inline constexpr std::uint8_t kPictureParameterSet = 8;

struct NalUnit {
    std::size_t at = 0;  // of its start code
    std::uint8_t type = 0;
    bool forbidden_bit = false;

    /// Types that the standard gives a meaning; the others are reserved or left to applications.
    [[nodiscard]] bool known_type() const { return (type >= 1 && type <= 16) || (type >= 19 && type <= 21); }
    [[nodiscard]] bool is_slice() const { return type >= kSlice && type <= kSliceOfIdrPicture; }
};

/// The NAL units that begin in the bytes, found by their start codes.
[[nodiscard]] std::vector<NalUnit> nal_units(std::span<const platform::Byte> bytes);

}  // namespace reader
