#include "tools/h264/bit_reader.h"

namespace h264 {
namespace {

constexpr platform::Byte kEmulationPrevention = 3;
constexpr unsigned kMaxCodeLength = 31;  // leading zeros of a code for a 32-bit value

}  // namespace

bool BitReader::next_byte() {
    if (zeros_ >= 2 && !rest_.empty() && rest_.front() == kEmulationPrevention) {
        rest_ = rest_.subspan(1);
        zeros_ = 0;
    }
    if (rest_.empty()) return false;
    current_ = rest_.front();
    rest_ = rest_.subspan(1);
    zeros_ = current_ == 0 ? zeros_ + 1 : 0;
    left_ = 8;
    return true;
}

std::uint32_t BitReader::bits(unsigned count) {
    std::uint32_t value = 0;
    for (; count > 0; --count) {
        ok_ = ok_ && (left_ > 0 || next_byte());
        if (!ok_) return 0;
        --left_;
        value = value << 1U | (std::uint32_t{current_} >> left_ & 1U);
    }
    return value;
}

std::uint32_t BitReader::unsigned_exp_golomb(std::uint32_t max) {
    unsigned zeros = 0;
    while (ok_ && !flag()) ++zeros;
    if (zeros > kMaxCodeLength) ok_ = false;
    if (!ok_) return 0;
    const std::uint32_t value = (1U << zeros) - 1 + bits(zeros);
    if (value > max) ok_ = false;
    return ok_ ? value : 0;
}

std::int32_t BitReader::signed_exp_golomb() {
    const std::uint32_t code = unsigned_exp_golomb();
    const auto magnitude = static_cast<std::int32_t>(code / 2 + code % 2);
    return code % 2 == 1 ? magnitude : -magnitude;
}

}  // namespace h264
