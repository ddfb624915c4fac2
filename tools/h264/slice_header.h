#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "tools/h264/parameter_sets.h"

namespace h264 {

/// The fields of a slice header (ITU-T H.264, 7.3.3) that the picture order count needs, and the parameter
/// sets that the slice refers to.
struct SliceHeader {
    ParameterSets::Active sets{};
    bool idr = false;
    bool reference = false;  // nal_ref_idc is not 0
    bool intra = false;      // an I or SI slice
    std::uint32_t frame_num = 0;
    bool field = false;
    bool bottom = false;
    std::uint32_t order_lsb = 0;                    // pic_order_cnt_lsb
    std::int32_t delta_bottom = 0;                  // delta_pic_order_cnt_bottom
    std::array<std::int32_t, 2> delta_order{0, 0};  // delta_pic_order_cnt
};

/// Nothing if the unit is not a slice, is malformed, or refers to a missing parameter set. The result points
/// into `sets` and is valid until they change.
[[nodiscard]] std::optional<SliceHeader> read_slice_header(Unit unit, const ParameterSets& sets);

}  // namespace h264
