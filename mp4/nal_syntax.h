#pragma once

// NAL units, ITU-T H.264: the header byte (7.3.1), the types (table 7-1) and the start code (Annex B).

#include <array>
#include <cstdint>

#include "platform/bytes.h"

namespace h264 {

/// A start code of four bytes. The last three are a start code as well.
inline constexpr std::array<platform::Byte, 4> kStartCode = {0, 0, 0, 1};
inline constexpr std::array<platform::Byte, 3> kShortStartCode = {0, 0, 1};

inline constexpr std::uint8_t kSlice = 1;
inline constexpr std::uint8_t kSliceDataPartitionA = 2;
inline constexpr std::uint8_t kSliceOfIdrPicture = 5;
inline constexpr std::uint8_t kSequenceParameterSet = 7;
inline constexpr std::uint8_t kPictureParameterSet = 8;
inline constexpr std::uint8_t kAccessUnitDelimiter = 9;

[[nodiscard]] constexpr std::uint8_t nal_type(platform::Byte header) {
    return header & 0x1FU;
}
/// nal_ref_idc is not 0.
[[nodiscard]] constexpr bool is_reference(platform::Byte header) {
    return (header & 0x60U) != 0;
}
[[nodiscard]] constexpr bool has_forbidden_bit(platform::Byte header) {
    return (header & 0x80U) != 0;
}

/// False for the types that the standard reserves or leaves to applications.
[[nodiscard]] constexpr bool is_known_type(std::uint8_t type) {
    return (type >= 1 && type <= 16) || (type >= 19 && type <= 21);
}

}  // namespace h264
