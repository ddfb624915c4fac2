// One pass through the data file, from packet to packet, each against its entry in the index.

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "ps/encodings.h"
#include "tools/reader/span_tracker.h"
#include "tools/reader/verify_steps.h"

namespace reader {
namespace {

constexpr std::array kPacketParts = {
    part<PesHeader::StartCode>("start code"),
    part<PesHeader::StreamId>("stream id"),
    part<PesHeader::Length>("length"),
    part<PesHeader::Marker>("marker"),
    part<PesHeader::Contents>("contents"),
    part<PesHeader::DataLength>("header length"),
    part<PesHeader::PresentationTime>("presentation time"),
    part<PesHeader::DecodingTime>("decoding time"),
    part<PesHeader::ExtensionFlags>("extension flags"),
    part<PesHeader::ExtensionLength>("extension length"),
    part<PesHeader::PreviousSize>("size of the packet before"),
    part<PesHeader::PacketSize>("packet size"),
    part<PesHeader::Flags>("flags"),
    part<PesHeader::Program>("program"),
    part<PesHeader::Padding>("padding"),
    NamedPart{"date", PesHeader::DateLow::offset, 2},
};
constexpr std::array kEntryParts = {
    part<PsiFrameEntry::Slot>("slot"),
    NamedPart{"reserved", 1, 1},
    part<PsiFrameEntry::Flags>("flags"),
    part<PsiFrameEntry::Program>("program"),
    part<PsiFrameEntry::SizeUnits>("packet size / 32"),
    part<PsiFrameEntry::Date>("date"),
    part<PsiFrameEntry::TimeOfDay>("time of day"),
    part<PsiFrameEntry::Position>("position"),
    part<PsiFrameEntry::Previous>("previous entry"),
    part<PsiFrameEntry::KeyDistance>("key distance"),
    part<PsiFrameEntry::SizeHigh>("packet size, bit 16"),
    NamedPart{"reserved", 27, 5},
};
constexpr std::uint32_t kMaxPadding = kPacketUnit - 1;

class PacketPass {
  public:
    PacketPass(Recording& recording, Depth depth, const PacketVisitor& visit, Report& report)
        : recording_(recording), depth_(depth), visit_(visit), report_(report), map_(report.map) {}

    void run();

  private:
    bool step();
    bool find_place(const Packet& packet);
    [[nodiscard]] std::optional<std::uint32_t> trusted_size(const PesHeader::Bytes& header,
                                                            const Packet& packet);
    [[nodiscard]] bool goes_on_at(std::uint64_t position);
    void report_header(const PesHeader::Bytes& found, const Packet& packet);
    void report_values(const Packet& packet);
    void report_end(const Packet* cut);
    void verify_padding(const Packet& packet);
    void verify_entry(const Packet& packet);
    void verify_link(SlotSum& slot, std::uint32_t next);
    void count(const Packet& packet);
    void finish();

    void data_fault(const Packet& packet, std::uint64_t at, std::string_view text) {
        add_data_fault(recording_, at, fmt::format("packet {}: {}", packet.number, text), report_,
                       packet.number);
    }

    Recording& recording_;
    Depth depth_;
    const PacketVisitor& visit_;
    Report& report_;
    const MapFacts& map_;
    SpanTracker tracker_;
    SlotSums sums_{};
    std::uint64_t at_ = kPacketsAt;
    std::uint32_t previous_size_ = kNoSize;
    bool lost_ = false;  // packets are missing in between
};

void PacketPass::run() {
    report_.whole_end = kPacketsAt;
    while (at_ < recording_.data_size() && step()) {
    }
    finish();
}

/// One packet, or the way to the next one where there is none. False at the end.
bool PacketPass::step() {
    const auto header = recording_.packet_header(at_);
    if (!header) {
        report_end(nullptr);
        return false;
    }
    Packet packet = packet_of(*header, report_.frames, at_);
    const bool sound = *header == header_of(packet, map_, previous_size_) && is_plausible(packet);
    if (sound && packet.end() > recording_.data_size()) {  // cut short, whatever its payload looks like
        report_end(&packet);
        return false;
    }
    if (!sound) {
        const auto size = trusted_size(*header, packet);
        if (!size) return find_place(packet);
        packet.size = *size;
        report_header(*header, packet);
    }
    verify_padding(packet);
    if (depth_ == Depth::kPayloads) verify_payload(recording_, packet, report_);
    verify_entry(packet);
    count(packet);
    visit_(packet);
    at_ = packet.end();
    previous_size_ = packet.size;
    return true;
}

/// Goes on behind damage at the next packet that can be recognised, or reports the end.
bool PacketPass::find_place(const Packet& packet) {
    const auto next = find_packet(recording_, map_, at_ + 1);
    if (!next) {
        report_end(&packet);
        return false;
    }
    data_fault(packet, at_, fmt::format("not to be recognised; the next one is at {}", *next));
    lost_ = true;
    at_ = *next;
    const auto header = recording_.packet_header(at_);
    previous_size_ = header ? get_size22(PesHeader::PreviousSize::of(PesHeader::View(*header))) : kNoSize;
    return true;
}

/// Of what the packet and its entry say about its size, that which leads to the next packet or to the end.
std::optional<std::uint32_t> PacketPass::trusted_size(const PesHeader::Bytes& header, const Packet& packet) {
    if (possible_size(packet.size) && goes_on_at(packet.end())) return packet.size;
    if (!begins_packet(header, map_)) return std::nullopt;
    const auto entry = recording_.entry(packet.number);
    if (!entry || entry->packet_at != packet.at || !possible_size(entry->packet_size)) return std::nullopt;
    return goes_on_at(entry->packet_end()) ? std::optional(entry->packet_size) : std::nullopt;
}

bool PacketPass::goes_on_at(std::uint64_t position) {
    if (position >= recording_.data_size()) return position == recording_.data_size();
    const auto header = recording_.packet_header(position);
    return header && begins_packet(*header, map_);
}

void PacketPass::report_header(const PesHeader::Bytes& found, const Packet& packet) {
    compare_parts(report_.faults,
                  {recording_.data_path(), packet.at, fmt::format("packet {}", packet.number), packet.number},
                  found, header_of(packet, map_, previous_size_), kPacketParts);
    report_values(packet);
}

void PacketPass::report_values(const Packet& packet) {
    if (packet.picture_type() != kKeyFrame && packet.picture_type() != kOtherFrame) {
        data_fault(packet, packet.at + PesHeader::Flags::offset,
                   fmt::format("picture type is {}", packet.picture_type()));
    }
    if (packet.size < PesHeader::size + packet.padding) {
        data_fault(packet, packet.at + PesHeader::Padding::offset, "more padding than payload");
    }
    if (!packet.moment.plausible()) {
        data_fault(packet, packet.at + PesHeader::DecodingTime::offset,
                   fmt::format("date {:04X} and {} ms name no instant", packet.moment.date,
                               packet.moment.milliseconds));
    }
}

/// The file ends in something that is no whole packet, and no packet stands behind it.
void PacketPass::report_end(const Packet* cut) {
    const bool begun = cut != nullptr && possible_size(cut->size) && cut->end() > recording_.data_size();
    const std::uint64_t size = recording_.data_size();
    const std::string text = begun ? fmt::format("ends at {}, the file at {}", cut->end(), size)
                                   : fmt::format("{} bytes that are no whole packet", size - at_);
    report_.faults.add({recording_.data_path(), at_, fmt::format("packet {}: {}", report_.frames, text),
                        report_.frames, Repair::kByRebuilding});
}

void PacketPass::verify_padding(const Packet& packet) {
    if (packet.padding == 0 || packet.size < PesHeader::size + packet.padding) return;
    std::array<platform::Byte, kMaxPadding> bytes{};
    const auto used = std::span(bytes).first(packet.padding);
    const std::uint64_t at = packet.end() - packet.padding;
    if (!recording_.read_data(at, used) || !all_zero(used)) data_fault(packet, at, "padding is not zero");
}

/// The entry that the packet calls for; what it says about the next one shows later.
PsiFrameEntry::Bytes expected_entry(const Packet& packet, const MapFacts& map, const SlotSum& slot,
                                    std::uint32_t found_next) {
    const std::uint32_t units = packet.size / kPacketUnit;
    PsiFrameEntry::Bytes entry{};
    PsiFrameEntry::Slot::put(entry, packet.slot);
    PsiFrameEntry::Flags::put(entry, packet.flags);
    PsiFrameEntry::Program::put(entry, program_byte(map));
    PsiFrameEntry::SizeUnits::put(entry, static_cast<std::uint16_t>(units & 0xFFFFU));
    PsiFrameEntry::SizeHigh::put(entry, static_cast<std::uint8_t>(units >> 16U));
    PsiFrameEntry::Date::put(entry, packet.moment.date);
    PsiFrameEntry::TimeOfDay::put(entry, packet.moment.milliseconds);
    PsiFrameEntry::Position::put(entry, static_cast<std::uint32_t>((packet.at - kPacketsAt) / kPacketUnit));
    PsiFrameEntry::Previous::put(entry, slot.last_entry);
    PsiFrameEntry::Next::put(entry, found_next);
    PsiFrameEntry::KeyDistance::put(entry, slot.key_distance);
    return entry;
}

void PacketPass::verify_entry(const Packet& packet) {
    SlotSum& slot = sums_.at(packet.slot);
    slot.key_distance = packet.picture_type() <= kKeyFrame
                            ? std::uint16_t{0}
                            : static_cast<std::uint16_t>(slot.key_distance + 1);
    verify_link(slot, packet.number);
    const auto found = recording_.entry_record(packet.number);
    if (found && !lost_) {
        const std::uint32_t next = PsiFrameEntry::Next::get(*found);
        const PsiFrameEntry::Bytes expected = expected_entry(packet, map_, slot, next);
        if (*found != expected) {
            compare_parts(report_.faults,
                          {recording_.index_path(), Recording::entry_at(packet.number),
                           fmt::format("entry {}", packet.number), packet.number, Repair::kByRebuilding},
                          *found, expected, kEntryParts);
        }
        slot.found_next = next;
    }
    slot.last_entry = packet.number;
}

/// The slot's last entry has to point at the one that came now, or at none.
void PacketPass::verify_link(SlotSum& slot, std::uint32_t next) {
    if (lost_ || slot.last_entry >= recording_.entries() || slot.found_next == next) return;
    add_index_fault(recording_, Recording::entry_at(slot.last_entry) + PsiFrameEntry::Next::offset,
                    fmt::format("entry {}: next entry is {:d}, not {:d}", slot.last_entry,
                                static_cast<std::int32_t>(slot.found_next), static_cast<std::int32_t>(next)),
                    report_, slot.last_entry);
}

void PacketPass::count(const Packet& packet) {
    SlotSum& slot = sums_.at(packet.slot);
    if (slot.packets++ == 0) {
        slot.first_entry = packet.number;
        slot.first = packet.moment;
    }
    slot.last = packet.moment;
    slot.kinds |= packet.kind();
    if (report_.frames++ == 0) report_.first = packet.moment;
    report_.last = packet.moment;
    if (packet.is_key()) ++report_.key_frames;
    report_.padding += packet.padding;
    report_.whole_end = packet.end();
    if (const auto ended = tracker_.take(packet)) report_.span_list.push_back(*ended);
}

void PacketPass::finish() {
    for (const Span& span : tracker_.rest()) report_.span_list.push_back(span);
    for (std::size_t slot = 0; slot < kSlots; ++slot) report_.packets.at(slot) = sums_.at(slot).packets;
    if (lost_ || !recording_.has_index()) return;  // there is nothing to hold the index against
    if (recording_.entries() != report_.frames) {
        add_index_fault(recording_, PsiHeader::Entries::offset,
                        fmt::format("{} entries, but {} whole packets in the data file", recording_.entries(),
                                    report_.frames),
                        report_);
        return;
    }
    for (SlotSum& slot : sums_) verify_link(slot, kNoEntry);
    if (recording_.completed()) verify_summaries(recording_, sums_, report_);
}

}  // namespace

void verify_packets(Recording& recording, Depth depth, const PacketVisitor& visit, Report& report) {
    PacketPass(recording, depth, visit, report).run();
}

}  // namespace reader
