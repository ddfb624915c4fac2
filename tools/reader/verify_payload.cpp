// Checks the payload of video packets: NAL units in byte stream format (ITU-T H.264, Annex B).

#include <fmt/format.h>

#include <vector>

#include "tools/reader/nal_scan.h"
#include "tools/reader/verify_steps.h"

namespace reader {

void verify_payload(Recording& recording, const Packet& packet, Report& report) {
    if (packet.slot >= kVideoSlots || packet.size < PesHeader::size + packet.padding) return;
    const std::uint64_t at = packet.offset + PesHeader::size;
    std::vector<platform::Byte> payload(packet.payload());
    const auto fault = [&](std::size_t in_payload, std::string_view text) {
        add_data_fault(recording, at + in_payload, fmt::format("packet {}: {}", packet.number, text), report,
                       packet.number);
    };
    if (!recording.read_data(at, payload)) return fault(0, "payload cannot be read");
    const std::vector<NalUnit> units = nal_units(payload);
    if (units.empty() || units.front().offset != 0)
        return fault(0, "payload does not begin with a start code");
    for (const NalUnit& unit : units) {
        if (unit.forbidden_bit || !h264::is_known_type(unit.type)) {
            return fault(unit.offset, fmt::format("not an H.264 NAL unit: type {}{}", unit.type,
                                                  unit.forbidden_bit ? ", forbidden bit set" : ""));
        }
    }
}

}  // namespace reader
