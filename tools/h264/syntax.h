#pragma once

// Parameter sets and slice headers, ITU-T H.264. Numbers in comments are its clauses.

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "mp4/nal_syntax.h"
#include "platform/bytes.h"

namespace h264 {

/// A NAL unit with its header byte, without a start code.
using Unit = std::span<const platform::Byte>;

[[nodiscard]] inline std::uint8_t type_of(Unit unit) {
    return unit.empty() ? std::uint8_t{0} : nal_type(unit.front());
}

/// The fields of a sequence parameter set (7.3.2.1.1) that determine decoder, picture order and picture size.
struct SequenceParameterSet {
    std::uint32_t id = 0;
    std::uint8_t profile = 0;      // profile_idc
    std::uint8_t constraints = 0;  // constraint_set0_flag is the most significant bit
    std::uint8_t level = 0;        // level_idc
    bool separate_colour_planes = false;
    unsigned frame_num_bits = 4;
    std::uint32_t order_type = 0;  // pic_order_cnt_type
    unsigned order_bits = 4;       // of pic_order_cnt_lsb
    bool delta_order_always_zero = false;
    std::int32_t offset_for_non_reference = 0;
    std::int32_t offset_for_bottom = 0;
    std::vector<std::int32_t> offsets_for_reference;  // offset_for_ref_frame
    bool frames_only = true;
    std::uint32_t width = 0;  // pixels, after cropping
    std::uint32_t height = 0;
};

/// The names of A.2 and A.3: "High", "4.1". An unknown profile is named by its number.
[[nodiscard]] std::string profile_name(const SequenceParameterSet& set);
[[nodiscard]] std::string level_name(const SequenceParameterSet& set);

/// The fields of a picture parameter set (7.3.2.2) that are needed to parse a slice header.
struct PictureParameterSet {
    std::uint32_t id = 0;
    std::uint32_t sequence_id = 0;
    bool bottom_field_order_present = false;
};

/// The parameter sets of a stream. A later set replaces the one with the same id.
class ParameterSets {
  public:
    /// Adds a parameter set and returns its id. Returns nothing for other units and for a malformed set.
    std::optional<std::uint32_t> add(Unit unit);

    /// A picture parameter set and the sequence parameter set that it refers to.
    struct Active {
        const SequenceParameterSet* sequence = nullptr;
        const PictureParameterSet* picture = nullptr;
    };
    /// Nothing if either set is missing.
    [[nodiscard]] std::optional<Active> active(std::uint32_t picture_id) const;
    [[nodiscard]] const std::map<std::uint32_t, SequenceParameterSet>& sequences() const {
        return sequences_;
    }
    [[nodiscard]] bool empty() const { return sequences_.empty() || pictures_.empty(); }

  private:
    std::map<std::uint32_t, SequenceParameterSet> sequences_;
    std::map<std::uint32_t, PictureParameterSet> pictures_;
};

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

/// 'I', 'P' or 'B' of a slice (slice_type, table 7-6; SI and SP slices count as I and P). Nothing for other
/// units.
[[nodiscard]] std::optional<char> slice_letter(Unit unit);

}  // namespace h264
