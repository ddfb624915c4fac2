#include "tools/h264/slice_header.h"

#include "tools/h264/bit_reader.h"

namespace h264 {
namespace {

constexpr std::uint32_t kMaxMacroblocks = 139'264;  // per picture, table A-1
constexpr std::uint32_t kSliceTypes = 5;            // values 5 to 9 repeat 0 to 4, table 7-6
constexpr std::uint32_t kTypeI = 2;
constexpr std::uint32_t kTypeSI = 4;
constexpr std::uint32_t kMaxPictures = 255;
constexpr std::uint32_t kMaxIdrIds = 65'535;

bool is_slice(std::uint8_t type) {
    return type == kSlice || type == kSliceDataPartitionA || type == kSliceOfIdrPicture;
}

void read_order(BitReader& in, SliceHeader& slice) {
    const bool both_fields = slice.sets.picture->bottom_field_order_present && !slice.field;
    const SequenceParameterSet& sequence = *slice.sets.sequence;
    if (sequence.order_type == 0) {
        slice.order_lsb = in.bits(sequence.order_bits);
        if (both_fields) slice.delta_bottom = in.signed_exp_golomb();
    } else if (sequence.order_type == 1 && !sequence.delta_order_always_zero) {
        slice.delta_order[0] = in.signed_exp_golomb();
        if (both_fields) slice.delta_order[1] = in.signed_exp_golomb();
    }
}

}  // namespace

std::optional<SliceHeader> read_slice_header(Unit unit, const ParameterSets& sets) {
    if (!is_slice(type_of(unit))) return std::nullopt;
    BitReader in(unit.subspan(1));
    (void)in.unsigned_exp_golomb(kMaxMacroblocks);  // first macroblock
    const std::uint32_t type = in.unsigned_exp_golomb(2 * kSliceTypes - 1) % kSliceTypes;
    const auto active = sets.active(in.unsigned_exp_golomb(kMaxPictures));
    if (!in.ok() || !active) return std::nullopt;
    SliceHeader slice{.sets = *active};
    slice.idr = type_of(unit) == kSliceOfIdrPicture;
    slice.reference = is_reference(unit.front());
    slice.intra = type == kTypeI || type == kTypeSI;
    if (active->sequence->separate_colour_planes) (void)in.bits(2);
    slice.frame_num = in.bits(active->sequence->frame_num_bits);
    if (!active->sequence->frames_only) slice.field = in.flag();
    if (slice.field) slice.bottom = in.flag();
    if (slice.idr) (void)in.unsigned_exp_golomb(kMaxIdrIds);
    read_order(in, slice);
    return in.ok() ? std::optional(slice) : std::nullopt;
}

}  // namespace h264
