#include "host/guid_source.h"

#include <algorithm>

namespace norvane {
namespace {

constexpr std::size_t kVersionAt = 6;
constexpr std::size_t kVariantAt = 8;

}  // namespace

Guid GuidSource::next() {
    if (left_ == 0) {
        platform::fill_random(stock_);
        left_ = kAtOnce;
    }
    --left_;
    Guid guid;
    std::ranges::copy(std::span(stock_).subspan(left_ * sizeof(Guid), sizeof(Guid)), guid.begin());
    std::uint8_t& version = guid.data[kVersionAt];
    std::uint8_t& variant = guid.data[kVariantAt];
    version = static_cast<std::uint8_t>((version & 0x0FU) | 0x40U);  // 4
    variant = static_cast<std::uint8_t>((variant & 0x3FU) | 0x80U);  // that of RFC 4122
    return guid;
}

}  // namespace norvane
