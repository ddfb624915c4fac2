// Checks every packet of the data file and its entry in the index, in one pass.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <vector>

#include "ps/encodings.h"
#include "tools/reader/nal_scan.h"
#include "tools/reader/verify_steps.h"

namespace reader {
namespace {

constexpr std::array kPacketFields = {
    field<PesHeader::StartCode>("start code"),
    field<PesHeader::StreamId>("stream id"),
    field<PesHeader::Length>("length"),
    field<PesHeader::Marker>("marker"),
    field<PesHeader::Contents>("contents"),
    field<PesHeader::DataLength>("header length"),
    field<PesHeader::PresentationTime>("presentation time"),
    field<PesHeader::DecodingTime>("decoding time"),
    field<PesHeader::ExtensionFlags>("extension flags"),
    field<PesHeader::ExtensionLength>("extension length"),
    field<PesHeader::PreviousSize>("size of the packet before"),
    field<PesHeader::PacketSize>("packet size"),
    field<PesHeader::Flags>("flags"),
    field<PesHeader::Program>("program"),
    field<PesHeader::Padding>("padding"),
    field<PesHeader::Date>("date"),
};
constexpr std::array kEntryFields = {
    field<PsiFrameEntry::Slot>("slot"),
    field<PsiFrameEntry::Reserved1>("reserved"),
    field<PsiFrameEntry::Flags>("flags"),
    field<PsiFrameEntry::Program>("program"),
    field<PsiFrameEntry::SizeUnits>("packet size / 32"),
    field<PsiFrameEntry::Date>("date"),
    field<PsiFrameEntry::TimeOfDay>("time of day"),
    field<PsiFrameEntry::Position>("position"),
    field<PsiFrameEntry::Previous>("previous entry"),
    field<PsiFrameEntry::KeyDistance>("key distance"),
    field<PsiFrameEntry::SizeHigh>("packet size, bit 16"),
    field<PsiFrameEntry::Reserved27>("reserved"),
};

/// True if the packet belongs to the span.
bool continues(const Span& span, const Packet& packet) {
    // A time that goes backwards is a gap too, because the unsigned difference wraps around.
    const std::uint32_t pause = packet.time.milliseconds - span.last.milliseconds;
    return span.kind == packet.kind() && span.last.date == packet.time.date && pause <= kSpanGap;
}

/// The entry that the packet must have. Its Next field is checked later.
PsiFrameEntry::Bytes expected_entry(const Packet& packet, const StreamMapInfo& map, const SlotSummary& slot,
                                    std::uint32_t found_next) {
    const std::uint32_t units = packet.size / kPacketUnit;
    PsiFrameEntry::Bytes entry{};
    PsiFrameEntry::Slot::put(entry, packet.slot);
    PsiFrameEntry::Flags::put(entry, packet.flags);
    PsiFrameEntry::Program::put(entry, program_byte(map.program_code));
    PsiFrameEntry::SizeUnits::put(entry, static_cast<std::uint16_t>(units & 0xFFFFU));
    PsiFrameEntry::SizeHigh::put(entry, static_cast<std::uint8_t>(units >> 16U));
    PsiFrameEntry::Date::put(entry, packet.time.date);
    PsiFrameEntry::TimeOfDay::put(entry, packet.time.milliseconds);
    PsiFrameEntry::Position::put(entry,
                                 static_cast<std::uint32_t>((packet.offset - kPacketsAt) / kPacketUnit));
    PsiFrameEntry::Previous::put(entry, slot.last_entry);
    PsiFrameEntry::Next::put(entry, found_next);
    PsiFrameEntry::KeyDistance::put(entry, slot.key_distance);
    return entry;
}

class PacketVerifier {
  public:
    PacketVerifier(Recording& recording, VerifyDepth depth, const PacketVisitor& visit, Report& report)
        : recording_(recording), depth_(depth), visit_(visit), report_(report), map_(report.map) {}

    void run() {
        report_.whole_end = kPacketsAt;
        while (at_ < recording_.data_size() && step()) {
        }
        finish();
    }

  private:
    void data_fault(const Packet& packet, std::uint64_t at, std::string_view text) {
        report_.faults.add(
            report_.in_data(at, fmt::format("packet {}: {}", packet.number, text), packet.number));
    }

    /// Checks the packet at the current offset, or finds the next one after damage. False at the end.
    bool step() {
        const auto header = recording_.packet_header(at_);
        if (!header) {
            report_end(nullptr);
            return false;
        }
        Packet packet = parse_packet(*header, report_.frames, at_);
        const bool valid = *header == expected_header(packet, map_, previous_size_) && is_plausible(packet);
        if (valid && packet.end() > recording_.data_size()) {  // truncated
            report_end(&packet);
            return false;
        }
        if (!valid) {
            const auto size = trusted_size(*header, packet);
            if (!size) return resynchronize(packet);
            packet.size = *size;
            report_header(*header, packet);
        }
        verify_padding(packet);
        if (depth_ == VerifyDepth::kPayloads) verify_payload(packet);
        verify_entry(packet);
        count(packet);
        visit_(packet);
        at_ = packet.end();
        previous_size_ = packet.size;
        return true;
    }

    /// Moves to the next recognizable packet after damage. False if there is none.
    bool resynchronize(const Packet& packet) {
        const auto next = find_packet(recording_, map_, at_ + 1);
        if (!next) {
            report_end(&packet);
            return false;
        }
        data_fault(packet, at_, fmt::format("unrecognizable; the next packet is at {}", *next));
        packets_lost_ = true;
        at_ = *next;
        const auto header = recording_.packet_header(at_);
        previous_size_ = header ? get_size22(PesHeader::PreviousSize::of(PesHeader::View(*header))) : kNoSize;
        return true;
    }

    /// The size from the packet or from its entry, whichever leads to another packet or to the end of the
    /// file.
    std::optional<std::uint32_t> trusted_size(const PesHeader::Bytes& header, const Packet& packet) {
        if (possible_size(packet.size) && packet_begins_at(packet.end())) return packet.size;
        if (!begins_packet(header, map_)) return std::nullopt;
        const auto entry = recording_.entry(packet.number);
        if (!entry || entry->packet_offset != packet.offset || !possible_size(entry->packet_size))
            return std::nullopt;
        return packet_begins_at(entry->packet_end()) ? std::optional(entry->packet_size) : std::nullopt;
    }

    bool packet_begins_at(std::uint64_t position) {
        if (position >= recording_.data_size()) return position == recording_.data_size();
        const auto header = recording_.packet_header(position);
        return header && begins_packet(*header, map_);
    }

    void report_header(const PesHeader::Bytes& found, const Packet& packet) {
        compare_fields(report_.faults,
                       report_.in_data(packet.offset, fmt::format("packet {}", packet.number), packet.number),
                       found, expected_header(packet, map_, previous_size_), kPacketFields);
        report_values(packet);
    }

    void report_values(const Packet& packet) {
        if (packet.picture_type() != kKeyFrame && packet.picture_type() != kOtherFrame) {
            data_fault(packet, packet.offset + PesHeader::Flags::offset,
                       fmt::format("invalid picture type {}", packet.picture_type()));
        }
        if (packet.size < PesHeader::size + packet.padding) {
            data_fault(packet, packet.offset + PesHeader::Padding::offset,
                       "more padding than the packet has room for");
        }
        if (!packet.time.plausible()) {
            data_fault(
                packet, packet.offset + PesHeader::DecodingTime::offset,
                fmt::format("invalid date {:04X} or time {} ms", packet.time.date, packet.time.milliseconds));
        }
    }

    /// Reports that the file ends with something other than a complete packet. `cut` is its header, if
    /// readable.
    void report_end(const Packet* cut) {
        const bool truncated =
            cut != nullptr && possible_size(cut->size) && cut->end() > recording_.data_size();
        const std::uint64_t size = recording_.data_size();
        const std::string text = truncated
                                     ? fmt::format("ends at {}, but the file ends at {}", cut->end(), size)
                                     : fmt::format("{} bytes that are not a complete packet", size - at_);
        Fault fault =
            report_.in_data(at_, fmt::format("packet {}: {}", report_.frames, text), report_.frames);
        fault.repair = Repair::kByRebuilding;
        report_.faults.add(std::move(fault));
    }

    /// Checks the payload of video packets: NAL units in byte stream format (ITU-T H.264, Annex B).
    void verify_payload(const Packet& packet) {
        if (packet.slot >= kVideoSlots || packet.size < PesHeader::size + packet.padding) return;
        const std::uint64_t at = packet.offset + PesHeader::size;
        std::vector<platform::Byte> payload(packet.payload());
        if (!recording_.read_data(at, payload)) return data_fault(packet, at, "payload cannot be read");
        const std::vector<NalUnit> units = nal_units(payload);
        if (units.empty() || units.front().offset != 0)
            return data_fault(packet, at, "payload does not begin with a start code");
        for (const NalUnit& unit : units) {
            if (unit.forbidden_bit || !h264::is_known_type(unit.type)) {
                data_fault(packet, at + unit.offset,
                           fmt::format("not an H.264 NAL unit: type {}{}", unit.type,
                                       unit.forbidden_bit ? ", forbidden bit set" : ""));
                return;
            }
        }
    }

    void verify_padding(const Packet& packet) {
        if (packet.padding == 0 || packet.size < PesHeader::size + packet.padding) return;
        std::array<platform::Byte, kPaddingBits> bytes{};
        const auto used = std::span(bytes).first(packet.padding);
        const std::uint64_t at = packet.end() - packet.padding;
        if (!recording_.read_data(at, used) || !all_zero(used)) data_fault(packet, at, "padding is not zero");
    }

    void verify_entry(const Packet& packet) {
        SlotSummary& slot = slots_.at(packet.slot);
        slot.key_distance = packet.picture_type() <= kKeyFrame
                                ? std::uint16_t{0}
                                : static_cast<std::uint16_t>(slot.key_distance + 1);
        verify_link(slot, packet.number);
        const auto found = recording_.entry_record(packet.number);
        if (found && !packets_lost_) {
            const std::uint32_t next = PsiFrameEntry::Next::get(*found);
            const PsiFrameEntry::Bytes expected = expected_entry(packet, map_, slot, next);
            if (*found != expected) {
                compare_fields(report_.faults,
                               report_.in_index(entry_at(packet.number),
                                                fmt::format("entry {}", packet.number), packet.number),
                               *found, expected, kEntryFields);
            }
            slot.found_next = next;
        }
        slot.last_entry = packet.number;
    }

    /// Checks that the slot's last entry points at entry `next`, which may be kNoEntry.
    void verify_link(SlotSummary& slot, std::uint32_t next) {
        if (packets_lost_ || slot.last_entry >= recording_.entries() || slot.found_next == next) return;
        report_.faults.add(report_.in_index(
            entry_at(slot.last_entry) + PsiFrameEntry::Next::offset,
            fmt::format("entry {}: next entry is {:d}, not {:d}", slot.last_entry,
                        static_cast<std::int32_t>(slot.found_next), static_cast<std::int32_t>(next)),
            slot.last_entry));
    }

    void count(Packet& packet) {
        SlotSummary& slot = slots_.at(packet.slot);
        if (slot.packets++ == 0) {
            slot.first_entry = packet.number;
            slot.first = packet.time;
        }
        slot.last = packet.time;
        slot.kinds |= packet.kind();
        if (report_.frames++ == 0) report_.first = packet.time;
        report_.last = packet.time;
        if (packet.is_key()) ++report_.key_frames;
        report_.padding += packet.padding;
        report_.whole_end = packet.end();
        packet.begins_span = !slot.span || !continues(*slot.span, packet);
        if (packet.begins_span) {
            if (slot.span) report_.span_list.push_back(*slot.span);
            slot.span = Span{packet.slot, packet.kind(), packet.time, packet.time};
        }
        slot.span->last = packet.time;
    }

    void finish() {
        for (std::size_t slot = 0; slot < kSlots; ++slot) {
            report_.packets.at(slot) = slots_.at(slot).packets;
            if (slots_.at(slot).span) report_.span_list.push_back(*slots_.at(slot).span);
        }
        if (packets_lost_ || !recording_.has_index()) return;  // there is nothing to compare the index with
        if (recording_.entries() != report_.frames) {
            report_.faults.add(
                report_.in_index(PsiHeader::Entries::offset,
                                 fmt::format("{} entries, but {} complete packets in the data file",
                                             recording_.entries(), report_.frames)));
            return;
        }
        for (SlotSummary& slot : slots_) verify_link(slot, kNoEntry);
        if (recording_.completed()) verify_summaries(recording_, slots_, report_);
    }

    Recording& recording_;
    VerifyDepth depth_;
    const PacketVisitor& visit_;
    Report& report_;
    const StreamMapInfo& map_;
    SlotSummaries slots_{};
    std::uint64_t at_ = kPacketsAt;
    std::uint32_t previous_size_ = kNoSize;
    bool packets_lost_ = false;  // packets were skipped because of damage
};

}  // namespace

void verify_packets(Recording& recording, VerifyDepth depth, const PacketVisitor& visit, Report& report) {
    PacketVerifier(recording, depth, visit, report).run();
}

}  // namespace reader
