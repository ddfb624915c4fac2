#include "tools/h264/picture_order.h"

#include <algorithm>
#include <numeric>

namespace h264 {

std::int64_t PictureOrder::next(const SliceHeader& slice) {
    const SequenceParameterSet& sequence = *slice.sets.sequence;
    if (slice.idr) {
        *this = PictureOrder();
    } else if (previous_frame_num_ > slice.frame_num) {
        frame_num_offset_ += std::int64_t{1} << sequence.frame_num_bits;
    }
    previous_frame_num_ = slice.frame_num;
    switch (sequence.order_type) {
        case 0:
            return count_type_0(slice);
        case 1:
            return count_type_1(slice);
        default:
            return count_type_2(slice);
    }
}

/// 8.2.1.1: the slice has the low bits, the high bits are derived from the previous reference picture.
std::int64_t PictureOrder::count_type_0(const SliceHeader& slice) {
    const std::int64_t wrap = std::int64_t{1} << slice.sets.sequence->order_bits;
    const std::int64_t lsb = slice.order_lsb;
    std::int64_t msb = previous_msb_;
    if (lsb < previous_lsb_ && previous_lsb_ - lsb >= wrap / 2) msb += wrap;
    if (lsb > previous_lsb_ && lsb - previous_lsb_ > wrap / 2) msb -= wrap;
    if (slice.reference) {
        previous_msb_ = msb;
        previous_lsb_ = lsb;
    }
    return msb + lsb + std::min(slice.delta_bottom, 0);
}

/// 8.2.1.2: derived from the frame number; the slice has a correction.
std::int64_t PictureOrder::count_type_1(const SliceHeader& slice) const {
    const SequenceParameterSet& sequence = *slice.sets.sequence;
    const auto& offsets = sequence.offsets_for_reference;
    const auto cycle = static_cast<std::int64_t>(offsets.size());
    std::int64_t frame = cycle == 0 ? 0 : frame_num_offset_ + slice.frame_num;
    if (!slice.reference && frame > 0) --frame;
    std::int64_t expected = 0;
    if (frame > 0) {
        const std::int64_t whole = std::accumulate(offsets.begin(), offsets.end(), std::int64_t{0});
        expected = (frame - 1) / cycle * whole;
        expected = std::accumulate(offsets.begin(), offsets.begin() + (frame - 1) % cycle + 1, expected);
    }
    if (!slice.reference) expected += sequence.offset_for_non_reference;
    const std::int64_t top = expected + slice.delta_order[0];
    if (slice.field) return slice.bottom ? top + sequence.offset_for_bottom : top;
    return std::min(top, top + sequence.offset_for_bottom + slice.delta_order[1]);
}

/// 8.2.1.3: display order is decoding order.
std::int64_t PictureOrder::count_type_2(const SliceHeader& slice) const {
    const std::int64_t count = 2 * (frame_num_offset_ + slice.frame_num);
    return slice.reference ? count : count - 1;
}

}  // namespace h264
