#include "tools/h264/syntax.h"

#include <algorithm>
#include <utility>

namespace h264 {
namespace {

constexpr std::uint32_t kMaxSequences = 31;
constexpr std::uint32_t kMaxPictures = 255;
constexpr std::uint32_t kMaxBitsBeyondFour = 12;
constexpr std::uint32_t kMaxCycleLength = 255;
constexpr std::uint32_t kMaxMacroblocksPerSide = 1'024;
constexpr std::uint32_t kMacroblock = 16;
/// Profiles whose sequence parameter sets contain chroma_format_idc, 7.3.2.1.1.
constexpr std::array kHighProfiles = {100U, 110U, 122U, 244U, 44U,  83U, 86U,
                                      118U, 128U, 138U, 139U, 134U, 135U};
constexpr std::uint32_t kChroma420 = 1;
constexpr std::uint32_t kChroma422 = 2;
constexpr std::uint32_t kChroma444 = 3;
constexpr std::uint32_t kMaxMacroblocks = 139'264;  // per picture, table A-1
constexpr std::uint32_t kSliceTypes = 5;            // values 5 to 9 repeat 0 to 4, table 7-6
constexpr std::uint32_t kTypeI = 2;
constexpr std::uint32_t kTypeSI = 4;
constexpr std::uint32_t kMaxIdrIds = 65'535;

/// Reads the bits of a NAL unit after its header byte, most significant first, and skips the emulation
/// prevention bytes (7.3.1). Past the end it yields zeros and stays in a failed state.
class BitReader {
  public:
    explicit BitReader(Unit unit) : rest_(unit.subspan(1)) {}

    [[nodiscard]] bool ok() const { return ok_; }

    /// u(count), at most 32 bits.
    std::uint32_t bits(unsigned count) {
        std::uint32_t value = 0;
        for (; count > 0; --count) {
            ok_ = ok_ && (left_ > 0 || next_byte());
            if (!ok_) return 0;
            --left_;
            value = value << 1U | (std::uint32_t{current_} >> left_ & 1U);
        }
        return value;
    }
    bool flag() { return bits(1) != 0; }

    /// ue(v), 9.1. Fails and yields 0 for a value above `max` and for a code that is too long.
    std::uint32_t unsigned_exp_golomb(std::uint32_t max = UINT32_MAX) {
        constexpr unsigned kMaxZeros = 31;  // leading zeros of a code for a 32-bit value
        unsigned zeros = 0;
        while (ok_ && !flag()) ++zeros;
        ok_ = ok_ && zeros <= kMaxZeros;
        const std::uint32_t value = ok_ ? (1U << zeros) - 1 + bits(zeros) : 0;
        ok_ = ok_ && value <= max;
        return ok_ ? value : 0;
    }
    /// se(v), 9.1.
    std::int32_t signed_exp_golomb() {
        const std::uint32_t code = unsigned_exp_golomb();
        const auto magnitude = static_cast<std::int32_t>(code / 2 + code % 2);
        return code % 2 == 1 ? magnitude : -magnitude;
    }

  private:
    bool next_byte() {
        constexpr platform::Byte kEmulationPrevention = 3;
        if (zeros_ >= 2 && !rest_.empty() && rest_.front() == kEmulationPrevention) {
            rest_ = rest_.subspan(1);
            zeros_ = 0;
        }
        if (rest_.empty()) return false;
        current_ = rest_.front();
        rest_ = rest_.subspan(1);
        zeros_ = current_ == 0 ? zeros_ + 1 : 0;
        left_ = 8;
        return true;
    }

    Unit rest_;
    std::uint8_t current_ = 0;
    unsigned left_ = 0;   // bits of the current byte
    unsigned zeros_ = 0;  // consecutive zero bytes before the next byte
    bool ok_ = true;
};

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
std::uint32_t read_chroma_format(BitReader& in, SequenceParameterSet& set) {
    if (std::ranges::find(kHighProfiles, set.profile) == kHighProfiles.end()) return kChroma420;
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
    set.width = (in.unsigned_exp_golomb(kMaxMacroblocksPerSide) + 1) * kMacroblock;
    const std::uint32_t height_units = in.unsigned_exp_golomb(kMaxMacroblocksPerSide) + 1;
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
    set.profile = static_cast<std::uint8_t>(in.bits(8));
    set.constraints = static_cast<std::uint8_t>(in.bits(8));
    set.level = static_cast<std::uint8_t>(in.bits(8));
    set.id = in.unsigned_exp_golomb(kMaxSequences);
    const std::uint32_t chroma_format = read_chroma_format(in, set);
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

bool is_slice(std::uint8_t type) {
    return type == kSlice || type == kSliceDataPartitionA || type == kSliceOfIdrPicture;
}

void read_slice_order(BitReader& in, SliceHeader& slice) {
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

std::string profile_name(const SequenceParameterSet& set) {
    constexpr std::uint8_t kConstrained = 0x40;  // constraint_set1_flag
    static constexpr std::array<std::pair<std::uint8_t, const char*>, 10> kNames = {
        {{66, "Baseline"},
         {77, "Main"},
         {88, "Extended"},
         {100, "High"},
         {110, "High 10"},
         {122, "High 4:2:2"},
         {244, "High 4:4:4 Predictive"},
         {44, "CAVLC 4:4:4 Intra"},
         {118, "Multiview High"},
         {128, "Stereo High"}}};
    const auto* const known =
        std::ranges::find(kNames, set.profile, &std::pair<std::uint8_t, const char*>::first);
    if (known == kNames.end()) return "profile " + std::to_string(set.profile);
    const bool baseline = known == kNames.begin();
    std::string name = baseline && (set.constraints & kConstrained) != 0 ? "Constrained " : "";
    return name.append(known->second);
}

std::string level_name(const SequenceParameterSet& set) {
    constexpr std::uint8_t kLevel1b = 9;
    constexpr std::uint8_t kLevel11 = 11;
    constexpr std::uint8_t kConstraint3 = 0x10;  // constraint_set3_flag
    constexpr std::uint8_t kHigh = 100;          // profiles from here on have a level_idc of its own for 1b
    if (set.level == kLevel1b ||
        (set.level == kLevel11 && set.profile < kHigh && (set.constraints & kConstraint3) != 0))
        return "1b";
    std::string name = std::to_string(set.level / 10);
    return set.level % 10 == 0 ? name : name.append(".").append(std::to_string(set.level % 10));
}

std::optional<std::uint32_t> ParameterSets::add(Unit unit) {
    if (unit.empty()) return std::nullopt;
    const BitReader in(unit);
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

std::optional<char> slice_letter(Unit unit) {
    constexpr std::array<char, kSliceTypes> kLetters = {'P', 'B', 'I', 'P', 'I'};
    if (!is_slice(type_of(unit))) return std::nullopt;
    BitReader in(unit);
    (void)in.unsigned_exp_golomb(kMaxMacroblocks);  // first macroblock
    const std::uint32_t type = in.unsigned_exp_golomb(2 * kSliceTypes - 1) % kSliceTypes;
    return in.ok() ? std::optional(kLetters.at(type)) : std::nullopt;
}

std::optional<SliceHeader> read_slice_header(Unit unit, const ParameterSets& sets) {
    if (!is_slice(type_of(unit))) return std::nullopt;
    BitReader in(unit);
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
    read_slice_order(in, slice);
    return in.ok() ? std::optional(slice) : std::nullopt;
}

}  // namespace h264
