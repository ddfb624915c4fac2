#include "tools/reader/curve.h"

#include <algorithm>
#include <functional>

namespace reader {
namespace {

constexpr std::int64_t kMaxSteps = 60;

/// Combines each two neighbours.
template <typename Value, typename Combine>
void halve(std::vector<Value>& values, const Combine& combine) {
    for (std::size_t i = 0; i < values.size(); i += 2)
        values[i / 2] = i + 1 < values.size() ? combine(values[i], values[i + 1]) : values[i];
    values.resize((values.size() + 1) / 2);
}

}  // namespace

void Curve::add(const Packet& packet) {
    const std::int64_t instant = instant_of(packet.time);
    if (bytes_.empty()) first_ = instant;
    since_key_ = packet.is_key() ? 0 : since_key_ + 1;
    const std::int64_t after = std::max<std::int64_t>(0, instant - first_);
    for (; after / step_ >= kMaxSteps; step_ *= 2) {
        halve(bytes_, std::plus());
        halve(key_distances_, std::ranges::max);
    }
    const auto at = static_cast<std::size_t>(after / step_);
    if (at >= bytes_.size()) {
        bytes_.resize(at + 1);
        key_distances_.resize(at + 1);
    }
    bytes_[at] += packet.size;
    key_distances_[at] = std::max(key_distances_[at], since_key_);
}

}  // namespace reader
