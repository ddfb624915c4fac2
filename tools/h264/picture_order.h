#pragma once

#include <cstdint>

#include "tools/h264/syntax.h"

namespace h264 {

/// Computes picture order counts (ITU-T H.264, 8.2.1): the pictures of a coded video sequence are displayed
/// in ascending order of their counts. Does not support memory_management_control_operation 5, which resets
/// the counts within a sequence: cameras do not use it.
class PictureOrder {
  public:
    /// The count of the next picture in decoding order, computed from its first slice. For a frame, the lower
    /// count of its two fields. An IDR picture starts again at 0.
    [[nodiscard]] std::int64_t next(const SliceHeader& slice);

  private:
    [[nodiscard]] std::int64_t count_type_0(const SliceHeader& slice);
    [[nodiscard]] std::int64_t count_type_1(const SliceHeader& slice) const;
    [[nodiscard]] std::int64_t count_type_2(const SliceHeader& slice) const;

    std::int64_t previous_msb_ = 0;  // of the last reference picture
    std::int64_t previous_lsb_ = 0;
    std::int64_t frame_num_offset_ = 0;
    std::uint32_t previous_frame_num_ = 0;
};

}  // namespace h264
