#pragma once

#include <cstdint>

namespace h264 {

/// Types of NAL units, ITU-T H.264, table 7-1.
inline constexpr std::uint8_t kSlice = 1;
inline constexpr std::uint8_t kSliceDataPartitionA = 2;
inline constexpr std::uint8_t kSliceOfIdrPicture = 5;
inline constexpr std::uint8_t kSequenceParameterSet = 7;
inline constexpr std::uint8_t kPictureParameterSet = 8;

}  // namespace h264
