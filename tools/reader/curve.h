#pragma once

#include <cstdint>
#include <vector>

#include "tools/reader/packet.h"

namespace reader {

/// How a recording's bitrate and key distance go, in steps of equal length from its first frame on. The steps
/// grow with the recording, so that there are never more than `most` of them.
class Curve {
  public:
    explicit Curve(std::size_t most = 60) : most_(most) {}

    /// The packets in file order. One that is older than the first counts for the first step.
    void take(const Packet& packet);

    [[nodiscard]] std::int64_t step() const { return step_; }  // ms
    /// Bytes of the packets of each step, and the most frames since a key picture among them.
    [[nodiscard]] const std::vector<std::uint64_t>& bytes() const { return bytes_; }
    [[nodiscard]] const std::vector<std::uint32_t>& key_distances() const { return key_distances_; }

  private:
    void double_step();

    std::size_t most_;
    std::int64_t first_ = 0;  // ms since 1970
    std::int64_t step_ = 1000;
    std::uint32_t since_key_ = 0;  // frames
    std::vector<std::uint64_t> bytes_;
    std::vector<std::uint32_t> key_distances_;
};

}  // namespace reader
