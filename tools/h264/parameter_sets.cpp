#include "tools/h264/parameter_sets.h"

#include <algorithm>

#include "tools/h264/bit_reader.h"

namespace h264 {
namespace {

constexpr std::uint32_t kMaxSequences = 31;
constexpr std::uint32_t kMaxPictures = 255;
constexpr std::uint32_t kMaxBitsBeyondFour = 12;
constexpr std::uint32_t kMaxCycleLength = 255;
constexpr std::uint32_t kMaxMacroblocks = 1'024;  // per side
constexpr std::uint32_t kMacroblock = 16;
/// Profiles whose sequence parameter sets contain chroma_format_idc, 7.3.2.1.1.
constexpr std::array kHighProfiles = {100U, 110U, 122U, 244U, 44U,  83U, 86U,
                                      118U, 128U, 138U, 139U, 134U, 135U};
constexpr std::uint32_t kChroma420 = 1;
constexpr std::uint32_t kChroma422 = 2;
constexpr std::uint32_t kChroma444 = 3;

/// 7.3.2.1.1.1.
void skip_scaling_list(BitReader& in, int size) {
    std::int32_t last = 8;
    std::int32_t next = 8;
    for (int i = 0; i < size && in.ok(); ++i) {
        if (next != 0) next = (last + in.signed_exp_golomb() % 256 + 256) % 256;
        if (next != 0) last = next;
    }
}

void skip_scaling_lists(BitReader& in, int lists) {
    for (int i = 0; i < lists; ++i) {
        if (in.flag()) skip_scaling_list(in, i < 6 ? 16 : 64);
    }
}

/// Returns chroma_format_idc.
std::uint32_t read_chroma_format(BitReader& in, std::uint32_t profile, SequenceParameterSet& set) {
    if (std::ranges::find(kHighProfiles, profile) == kHighProfiles.end()) return kChroma420;
    const std::uint32_t chroma_format = in.unsigned_exp_golomb(kChroma444);
    if (chroma_format == kChroma444) set.separate_colour_planes = in.flag();
    (void)in.unsigned_exp_golomb();  // luma depth
    (void)in.unsigned_exp_golomb();  // chroma depth
    (void)in.flag();                 // lossless transform bypass
    if (in.flag()) skip_scaling_lists(in, chroma_format == kChroma444 ? 12 : 8);
    return chroma_format;
}

void read_order(BitReader& in, SequenceParameterSet& set) {
    set.order_type = in.unsigned_exp_golomb(2);
    if (set.order_type == 0) set.order_bits = 4 + in.unsigned_exp_golomb(kMaxBitsBeyondFour);
    if (set.order_type != 1) return;
    set.delta_order_always_zero = in.flag();
    set.offset_for_non_reference = in.signed_exp_golomb();
    set.offset_for_bottom = in.signed_exp_golomb();
    const std::uint32_t cycle = in.unsigned_exp_golomb(kMaxCycleLength);
    for (std::uint32_t i = 0; i < cycle; ++i) set.offsets_for_reference.push_back(in.signed_exp_golomb());
}

void read_size(BitReader& in, std::uint32_t chroma_format, SequenceParameterSet& set) {
    set.width = (in.unsigned_exp_golomb(kMaxMacroblocks) + 1) * kMacroblock;
    const std::uint32_t height_units = in.unsigned_exp_golomb(kMaxMacroblocks) + 1;
    set.frames_only = in.flag();
    const std::uint32_t fields = set.frames_only ? 1 : 2;
    set.height = height_units * kMacroblock * fields;
    if (!set.frames_only) (void)in.flag();  // mb_adaptive_frame_field_flag
    (void)in.flag();                        // direct 8x8 inference
    if (!in.flag()) return;
    const std::uint32_t across = chroma_format == kChroma420 || chroma_format == kChroma422 ? 2 : 1;
    const std::uint32_t down = (chroma_format == kChroma420 ? 2 : 1) * fields;
    const std::uint32_t left_right =
        (in.unsigned_exp_golomb(set.width) + in.unsigned_exp_golomb(set.width)) * across;
    const std::uint32_t top_bottom =
        (in.unsigned_exp_golomb(set.height) + in.unsigned_exp_golomb(set.height)) * down;
    set.width -= std::min(set.width, left_right);
    set.height -= std::min(set.height, top_bottom);
}

std::optional<SequenceParameterSet> read_sequence(BitReader in) {
    SequenceParameterSet set;
    const std::uint32_t profile = in.bits(8);
    (void)in.bits(8 + 8);  // constraints, level
    set.id = in.unsigned_exp_golomb(kMaxSequences);
    const std::uint32_t chroma_format = read_chroma_format(in, profile, set);
    set.frame_num_bits = 4 + in.unsigned_exp_golomb(kMaxBitsBeyondFour);
    read_order(in, set);
    (void)in.unsigned_exp_golomb();  // reference frames
    (void)in.flag();                 // gaps in frame numbers
    read_size(in, chroma_format, set);
    return in.ok() ? std::optional(set) : std::nullopt;
}

std::optional<PictureParameterSet> read_picture(BitReader in) {
    PictureParameterSet set;
    set.id = in.unsigned_exp_golomb(kMaxPictures);
    set.sequence_id = in.unsigned_exp_golomb(kMaxSequences);
    (void)in.flag();  // entropy coding mode
    set.bottom_field_order_present = in.flag();
    return in.ok() ? std::optional(set) : std::nullopt;
}

}  // namespace

std::optional<std::uint32_t> ParameterSets::add(Unit unit) {
    if (unit.empty()) return std::nullopt;
    const BitReader in(unit.subspan(1));
    if (type_of(unit) == kSequenceParameterSet) {
        if (const auto set = read_sequence(in))
            return sequences_.insert_or_assign(set->id, *set).first->first;
    } else if (type_of(unit) == kPictureParameterSet) {
        if (const auto set = read_picture(in)) return pictures_.insert_or_assign(set->id, *set).first->first;
    }
    return std::nullopt;
}

std::optional<ParameterSets::Active> ParameterSets::active(std::uint32_t picture_id) const {
    const auto picture = pictures_.find(picture_id);
    if (picture == pictures_.end()) return std::nullopt;
    const auto sequence = sequences_.find(picture->second.sequence_id);
    if (sequence == sequences_.end()) return std::nullopt;
    return Active{&sequence->second, &picture->second};
}

}  // namespace h264
