#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "mp4/nal_syntax.h"
#include "platform/bytes.h"

namespace reader {

struct NalUnit {
    std::size_t offset = 0;  // of its start code
    std::uint8_t type = 0;
    bool forbidden_bit = false;

    [[nodiscard]] bool is_slice() const { return type >= h264::kSlice && type <= h264::kSliceOfIdrPicture; }
};

/// Finds the NAL units in the bytes by their start codes.
[[nodiscard]] std::vector<NalUnit> nal_units(std::span<const platform::Byte> bytes);

/// The bytes of units[i] without its start code.
[[nodiscard]] std::span<const platform::Byte> unit_at(std::span<const platform::Byte> bytes,
                                                      const std::vector<NalUnit>& units, std::size_t i);

}  // namespace reader
