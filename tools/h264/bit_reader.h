#pragma once

#include <cstdint>
#include <span>

#include "platform/bytes.h"

namespace h264 {

/// The bits of a NAL unit behind its header byte, most significant first, without the emulation prevention
/// bytes (ITU-T H.264, 7.3.1). Behind the last bit it yields zeros and has failed.
class BitReader {
  public:
    explicit BitReader(std::span<const platform::Byte> bytes) : rest_(bytes) {}

    /// u(count), at most 32 bits.
    [[nodiscard]] std::uint32_t bits(unsigned count);
    [[nodiscard]] bool flag() { return bits(1) != 0; }
    /// ue(v) and se(v), 9.1. A code of more than 32 leading zeros fails.
    [[nodiscard]] std::uint32_t unsigned_exp_golomb();
    [[nodiscard]] std::int32_t signed_exp_golomb();
    /// A ue(v) of at most that value; a larger one fails and counts as 0.
    [[nodiscard]] std::uint32_t up_to(std::uint32_t most);

    [[nodiscard]] bool ok() const { return ok_; }

  private:
    bool next_byte();

    std::span<const platform::Byte> rest_;
    std::uint8_t current_ = 0;
    unsigned left_ = 0;   // bits of the current byte
    unsigned zeros_ = 0;  // bytes of zero in a row before the next one
    bool ok_ = true;
};

}  // namespace h264
