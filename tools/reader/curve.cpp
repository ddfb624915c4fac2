#include "tools/reader/curve.h"

#include <algorithm>

namespace reader {

void Curve::add(const Packet& packet) {
    const std::int64_t instant = instant_of(packet.time);
    if (bytes_.empty()) first_ = instant;
    since_key_ = packet.is_key() ? 0 : since_key_ + 1;
    const std::int64_t after = std::max<std::int64_t>(0, instant - first_);
    while (after / step_ >= static_cast<std::int64_t>(max_steps_)) double_step();
    const auto at = static_cast<std::size_t>(after / step_);
    if (at >= bytes_.size()) {
        bytes_.resize(at + 1);
        key_distances_.resize(at + 1);
    }
    bytes_[at] += packet.size;
    key_distances_[at] = std::max(key_distances_[at], since_key_);
}

void Curve::double_step() {
    step_ *= 2;
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        if (i % 2 == 0) {
            bytes_[i / 2] = bytes_[i];
            key_distances_[i / 2] = key_distances_[i];
        } else {
            bytes_[i / 2] += bytes_[i];
            key_distances_[i / 2] = std::max(key_distances_[i / 2], key_distances_[i]);
        }
    }
    bytes_.resize((bytes_.size() + 1) / 2);
    key_distances_.resize(bytes_.size());
}

}  // namespace reader
