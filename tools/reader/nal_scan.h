#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/bytes.h"
#include "tools/h264/nal_types.h"

namespace reader {

struct NalUnit {
    std::size_t at = 0;  // of its start code
    std::uint8_t type = 0;
    bool forbidden_bit = false;

    /// Types that the standard gives a meaning; the others are reserved or left to applications.
    [[nodiscard]] bool known_type() const { return (type >= 1 && type <= 16) || (type >= 19 && type <= 21); }
    [[nodiscard]] bool is_slice() const { return type >= h264::kSlice && type <= h264::kSliceOfIdrPicture; }
};

/// The NAL units that begin in the bytes, found by their start codes.
[[nodiscard]] std::vector<NalUnit> nal_units(std::span<const platform::Byte> bytes);

}  // namespace reader
