#pragma once

#include <cstdint>

#include "tools/h264/slice_header.h"

namespace h264 {

/// Picture order counts (ITU-T H.264, 8.2.1): pictures of one coded video sequence are shown in their order.
/// A picture that resets the order in its middle (memory management operation 5) is taken for any other: no
/// camera makes one.
class PictureOrder {
  public:
    /// The count of the next picture in decoding order, given by its first slice. For a frame the earlier one
    /// of its two fields. Begins anew at an IDR picture.
    [[nodiscard]] std::int64_t next(const SliceHeader& slice);

  private:
    [[nodiscard]] std::int64_t by_bits(const SliceHeader& slice);
    [[nodiscard]] std::int64_t by_cycle(const SliceHeader& slice) const;
    [[nodiscard]] std::int64_t by_decoding(const SliceHeader& slice) const;

    std::int64_t previous_msb_ = 0;  // of the last reference picture
    std::int64_t previous_lsb_ = 0;
    std::int64_t frame_num_offset_ = 0;
    std::uint32_t previous_frame_num_ = 0;
};

}  // namespace h264
