#include "mp4/parameter_sets.h"

#include <algorithm>

#include "mp4/nal_syntax.h"

using platform::Byte;

namespace h264 {
namespace {

/// The rest of the bytes from the next unit's start code on; empty after the last one.
std::span<const Byte> from_start_code(std::span<const Byte> bytes) {
    const auto code = std::search(bytes.begin(), bytes.end(), kShortStartCode.begin(), kShortStartCode.end());
    return bytes.subspan(static_cast<std::size_t>(code - bytes.begin()));
}

/// The rest of the bytes from the next unit's header on; empty after the last one.
std::span<const Byte> next_unit(std::span<const Byte> bytes) {
    const auto unit = from_start_code(bytes);
    return unit.subspan(std::min(unit.size(), kShortStartCode.size()));
}

/// Bytes that precede the parameter sets: an access unit delimiter, if the frame begins with one.
std::size_t delimiter_size(std::span<const Byte> frame) {
    const auto unit = next_unit(frame);
    if (unit.empty() || nal_type(unit.front()) != kAccessUnitDelimiter) return 0;
    const std::size_t end = frame.size() - from_start_code(unit).size();
    return frame[end - 1] == 0 ? end - 1 : end;  // the next start code has three or four bytes
}

}  // namespace

bool has_parameter_sets(std::span<const Byte> frame) {
    bool sequence = false;
    bool picture = false;
    for (auto unit = next_unit(frame); !unit.empty(); unit = next_unit(unit)) {
        const std::uint8_t type = nal_type(unit.front());
        if (type >= kSlice && type <= kSliceOfIdrPicture) break;
        sequence |= type == kSequenceParameterSet;
        picture |= type == kPictureParameterSet;
    }
    return sequence && picture;
}

void put_parameter_sets(std::span<const Byte> frame, std::span<const Byte> sets, std::vector<Byte>& to) {
    const std::size_t front = delimiter_size(frame);
    to.clear();
    to.reserve(frame.size() + sets.size());
    to.insert(to.end(), frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(front));
    to.insert(to.end(), sets.begin(), sets.end());
    to.insert(to.end(), frame.begin() + static_cast<std::ptrdiff_t>(front), frame.end());
}

}  // namespace h264
