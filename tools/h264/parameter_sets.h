#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "platform/bytes.h"
#include "tools/h264/nal_types.h"

namespace h264 {

/// A NAL unit with its header byte, without start code.
using Unit = std::span<const platform::Byte>;

[[nodiscard]] inline std::uint8_t type_of(Unit unit) {
    return unit.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(unit.front() & 0x1FU);
}

/// What of a sequence parameter set (7.3.2.1.1) the order and the size of its pictures need.
struct SequenceParameterSet {
    std::uint32_t id = 0;
    bool separate_colour_planes = false;
    unsigned frame_num_bits = 4;
    std::uint32_t order_type = 0;  // pic_order_cnt_type
    unsigned order_bits = 4;       // of pic_order_cnt_lsb
    bool delta_order_always_zero = false;
    std::int32_t offset_for_non_reference = 0;
    std::int32_t offset_for_bottom = 0;
    std::vector<std::int32_t> offsets_for_reference;  // of one cycle
    bool frames_only = true;
    std::uint32_t width = 0;  // pixels, cropped
    std::uint32_t height = 0;
};

/// What of a picture parameter set (7.3.2.2) a slice header needs.
struct PictureParameterSet {
    std::uint32_t id = 0;
    std::uint32_t sequence_id = 0;
    bool bottom_field_order_present = false;
};

/// The parameter sets of a stream: the last one of each id counts.
class ParameterSets {
  public:
    /// Takes a parameter set and gives its id; nothing for any other unit and for one that cannot be read.
    std::optional<std::uint32_t> take(Unit unit);

    /// Both of them, or nothing where one is missing.
    struct Active {
        const SequenceParameterSet* sequence = nullptr;
        const PictureParameterSet* picture = nullptr;
    };
    [[nodiscard]] std::optional<Active> active(std::uint32_t picture_id) const;
    [[nodiscard]] bool empty() const { return sequences_.empty() || pictures_.empty(); }

  private:
    std::map<std::uint32_t, SequenceParameterSet> sequences_;
    std::map<std::uint32_t, PictureParameterSet> pictures_;
};

}  // namespace h264
