#include "tools/ps/frame_front.h"

#include <algorithm>

#include "tools/reader/nal_scan.h"

namespace ps_tool {
namespace {

constexpr std::size_t kFrontSize =
    65'536;  // contains the parameter sets and the first slice of most payloads

}  // namespace

void ActiveParameterSets::take(h264::Unit unit) {
    if (const auto id = parsed_.add(unit))
        bytes_[{h264::type_of(unit), *id}].assign(unit.begin(), unit.end());
}

std::vector<platform::Byte> ActiveParameterSets::in_start_code_form() const {
    std::vector<platform::Byte> all;
    for (const auto& [type_and_id, unit] : bytes_) {
        all.insert(all.end(), h264::kStartCode.begin(), h264::kStartCode.end());
        all.insert(all.end(), unit.begin(), unit.end());
    }
    return all;
}

FrameFront parse_front(std::span<const platform::Byte> payload, ActiveParameterSets& sets) {
    FrameFront front;
    const auto units = reader::nal_units(payload);
    for (std::size_t i = 0; i < units.size(); ++i) {
        if (units[i].is_slice()) {
            front.has_slice = true;
            front.slice = h264::read_slice_header(reader::unit_at(payload, units, i), sets.parsed());
            break;
        }
        front.has_sets |= units[i].type == h264::kSequenceParameterSet;
        sets.take(reader::unit_at(payload, units, i));
    }
    return front;
}

FrameFront read_front(reader::Recording& recording, const reader::Packet& packet, ActiveParameterSets& sets) {
    FrameFront front;
    for (const std::size_t size :
         {std::min<std::size_t>(packet.payload(), kFrontSize), std::size_t{packet.payload()}}) {
        std::vector<platform::Byte> bytes(size);
        if (!recording.read_data(packet.offset + PesHeader::size, bytes)) return front;
        front = parse_front(bytes, sets);
        if (front.has_slice || size == packet.payload()) break;
    }
    return front;
}

}  // namespace ps_tool
