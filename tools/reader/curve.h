#pragma once

#include <cstdint>
#include <vector>

#include "tools/reader/packet.h"

namespace reader {

/// Bitrate and key frame distance of a recording over time, in steps of equal length that start at its first
/// frame. The step length doubles as needed so that there are at most 60 steps.
class Curve {
  public:
    /// Adds the next packet in file order. A packet older than the first one counts for the first step.
    void add(const Packet& packet);

    [[nodiscard]] std::int64_t step() const { return step_; }  // ms
    /// Bytes per step, and the largest number of frames since a key frame per step.
    [[nodiscard]] const std::vector<std::uint64_t>& bytes() const { return bytes_; }
    [[nodiscard]] const std::vector<std::uint32_t>& key_distances() const { return key_distances_; }

  private:
    std::int64_t first_ = 0;  // ms since 1970
    std::int64_t step_ = 1000;
    std::uint32_t since_key_ = 0;  // frames
    std::vector<std::uint64_t> bytes_;
    std::vector<std::uint32_t> key_distances_;
};

}  // namespace reader
