#pragma once

#include <cstdint>
#include <span>

#include "platform/bytes.h"

namespace h264 {

/// Reads the bits of a NAL unit, most significant first, and skips the emulation prevention bytes (ITU-T
/// H.264, 7.3.1). Starts after the header byte. Past the end it yields zeros and stays in a failed state.
class BitReader {
  public:
    explicit BitReader(std::span<const platform::Byte> bytes) : rest_(bytes) {}

    /// u(count), at most 32 bits.
    [[nodiscard]] std::uint32_t bits(unsigned count);
    [[nodiscard]] bool flag() { return bits(1) != 0; }
    /// ue(v), 9.1. Fails and yields 0 for a value above `max` and for a code of more than 31 leading zeros.
    [[nodiscard]] std::uint32_t unsigned_exp_golomb(std::uint32_t max = UINT32_MAX);
    /// se(v), 9.1.
    [[nodiscard]] std::int32_t signed_exp_golomb();

    [[nodiscard]] bool ok() const { return ok_; }

  private:
    bool next_byte();

    std::span<const platform::Byte> rest_;
    std::uint8_t current_ = 0;
    unsigned left_ = 0;   // bits of the current byte
    unsigned zeros_ = 0;  // consecutive zero bytes before the next byte
    bool ok_ = true;
};

}  // namespace h264
