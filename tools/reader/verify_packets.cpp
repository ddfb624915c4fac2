// Checks every packet of the data file and its entry in the index, in one pass.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <iterator>
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

/// The bits of a packet size that the length field has.
constexpr std::uint32_t kLengthBits = 0xFFFF;

/// Limits the memory for a recording in which every packet has a fault.
constexpr std::size_t kMaxCorrections = 10'000;

/// True if the packet belongs to the span.
bool continues(const Span& span, const Packet& packet) {
    // A time that goes backwards is a gap too, because the unsigned difference wraps around.
    const std::uint32_t pause = packet.time.milliseconds - span.last.milliseconds;
    return span.kind == packet.kind() && span.last.date == packet.time.date && pause <= kSpanGap;
}

/// The entry that the packet must have.
PsiFrameEntry::Bytes expected_entry(const Packet& packet, const StreamMapInfo& map, std::uint32_t previous,
                                    std::uint16_t key_distance, std::uint32_t next) {
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
    PsiFrameEntry::Previous::put(entry, previous);
    PsiFrameEntry::Next::put(entry, next);
    PsiFrameEntry::KeyDistance::put(entry, key_distance);
    return entry;
}

class PacketVerifier {
  public:
    PacketVerifier(Recording& recording, VerifyDepth depth, const PacketVisitor& visit,
                   const Choices& choices, Report& report)
        : recording_(recording),
          depth_(depth),
          visit_(visit),
          choices_(choices),
          report_(report),
          map_(report.map) {}

    void run() {
        report_.whole_end = kPacketsAt;
        while (at_ < recording_.data_size() ? step() : continue_within_last()) {
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
        if (!header) return end(nullptr);
        const Packet parsed = parse_packet(*header, report_.frames, at_);
        Packet packet = parsed;
        const bool valid = *header == expected_header(packet, map_, previous_size_) && is_plausible(packet);
        resolved_ = true;
        found_ = packets_lost_ ? std::nullopt : recording_.entry_record(packet.number);
        expected_ = expected_entry_of(packet);
        if (!valid || packet.end() > recording_.data_size() || found_ != expected_) {
            const Content content = examine(*header, packet, valid);
            if (content == Content::kDamage) return resynchronize(parsed);
            if (content == Content::kIncomplete) return end(&parsed);
            if (!valid || packet != parsed) report_header(*header, packet);
        }
        verify_padding(packet);
        if (depth_ == VerifyDepth::kPayloads) verify_payload(packet);
        verify_entry(packet);
        count(packet);
        visit_(packet);
        last_ = packet;
        at_ = packet.end();
        previous_size_ = packet.size;
        return true;
    }

    enum class Content { kPacket, kIncomplete, kDamage };

    /// Sets the size and the values of a packet that has a fault or another entry than expected.
    Content examine(const PesHeader::Bytes& header, Packet& packet, bool valid) {
        if (!valid || !is_size_confirmed(packet)) {
            const auto size = known_size(header, packet, valid);
            if (!size && !valid) return Content::kDamage;
            if (!size && packet.end() > recording_.data_size())
                return is_followed() ? Content::kDamage : Content::kIncomplete;
            packet.size = size.value_or(packet.size);
        }
        if (!valid) {
            resolve(header, packet);
            if (!is_recognizable(header, packet)) return Content::kDamage;
        }
        expected_ = expected_entry_of(packet);
        if (found_ && *found_ != expected_) settle(packet);
        return Content::kPacket;
    }

    /// True if a later packet repeats its distance as the size of the current one, whose own size is wrong
    /// then. Without that, a header in the payload of a truncated packet would be taken for the next packet.
    bool is_followed() {
        const auto next = find_packet(recording_, map_, at_ + 1);
        return next && *next - at_ <= kPacketSizeBits &&
               is_repeated_at(*next, static_cast<std::uint32_t>(*next - at_));
    }

    /// Moves to the next recognizable packet after damage. False if there is none.
    bool resynchronize(const Packet& packet) {
        const auto next = find_packet(recording_, map_, at_ + 1);
        if (!next) return end(&packet);
        data_fault(packet, at_, fmt::format("unrecognizable; the next packet is at {}", *next));
        continue_at(*next);
        return true;
    }

    void continue_at(std::uint64_t next) {
        packets_lost_ = true;
        at_ = next;
        const auto header = recording_.packet_header(at_);
        previous_size_ = header ? get_size22(PesHeader::PreviousSize::of(PesHeader::View(*header))) : kNoSize;
    }

    /// Continues at a packet that begins within the given one, which bytes are missing from. Otherwise that
    /// packet would be lost with the tail that is cut off. False if no packet begins there.
    bool continue_within(const Packet& packet) {
        const auto next = packets_lost_ ? std::nullopt : find_packet_within(recording_, map_, packet);
        if (!next) return false;
        data_fault(
            packet, packet.offset,
            fmt::format("ends at {}, but the next packet is at {}; bytes are missing", packet.end(), *next));
        continue_at(*next);
        return true;
    }

    /// At the end of the file, the last packet's size is confirmed only if the index has the same number of
    /// packets.
    bool continue_within_last() {
        return last_ && recording_.entries() != report_.frames && continue_within(*last_);
    }

    /// Reports the end of the file after an incomplete packet, or continues at a packet that is hidden there.
    /// `cut` is the header at the current offset, if readable. False at the end.
    bool end(const Packet* cut) {
        if (last_ && !is_repeated_at(at_, last_->size) && continue_within(*last_)) return true;
        if (cut != nullptr && is_truncated(*cut) && continue_within(*cut)) return true;
        report_end(cut);
        return false;
    }

    bool is_truncated(const Packet& packet) const {
        return possible_size(packet.size) && packet.end() > recording_.data_size();
    }

    /// True if the entry has the size too, or if the next packet repeats it. The length field has only 16
    /// bits.
    bool is_size_confirmed(const Packet& packet) {
        const auto entry = found_ ? recording_.entry(packet.number) : std::nullopt;
        return (entry && entry->packet_offset == packet.offset && entry->packet_size == packet.size &&
                packet.end() <= recording_.data_size()) ||
               is_repeated_at(packet.end(), packet.size);
    }

    /// True if few fields of the header are wrong, or at least its start is right.
    bool is_recognizable(const PesHeader::Bytes& header, const Packet& packet) const {
        return begins_packet(header, map_) ||
               different_fields(header, expected_header(packet, map_, previous_size_), kPacketFields) <=
                   kMaxWrongFields;
    }

    /// The size of a packet whose header has a fault or whose size is not confirmed: from the header's size
    /// or length field or from the entry, whichever leads to a packet that repeats it or to the end of the
    /// file. Otherwise the first one that leads to a packet.
    std::optional<std::uint32_t> known_size(const PesHeader::Bytes& header, const Packet& packet,
                                            bool valid) {
        const std::uint32_t low = PesHeader::Length::get(header) + std::uint32_t{PesHeader::Marker::offset};
        const std::uint64_t left = recording_.data_size() - packet.offset;
        std::vector<std::uint32_t> sizes = {packet.size, (packet.size & ~kLengthBits) | (low & kLengthBits)};
        if (const auto entry = recording_.entry(packet.number);
            entry && entry->packet_offset == packet.offset)
            sizes.push_back(entry->packet_size);
        if (!valid && left <= kPacketSizeBits && (left & kLengthBits) == (low & kLengthBits))
            sizes.push_back(static_cast<std::uint32_t>(left));
        std::erase_if(sizes, [](std::uint32_t size) { return !possible_size(size); });
        const auto repeated = std::ranges::find_if(
            sizes, [&](std::uint32_t size) { return is_repeated_at(packet.offset + size, size); });
        if (repeated != sizes.end()) return *repeated;
        if (valid) return ambiguous_end(packet, left, low);
        const auto leading = std::ranges::find_if(
            sizes, [&](std::uint32_t size) { return packet_begins_at(packet.offset + size); });
        if (leading != sizes.end()) return *leading;
        return size_up_to_next(header, packet);
    }

    /// Reports a last packet that may be complete, with a wrong size, or truncated. Nothing is cut off then.
    std::optional<std::uint32_t> ambiguous_end(const Packet& packet, std::uint64_t left, std::uint32_t low) {
        const bool ambiguous = !found_ && packet.end() > recording_.data_size() && left <= kPacketSizeBits &&
                               (left & kLengthBits) == (low & kLengthBits);
        if (ambiguous) {
            data_fault(packet, packet.offset + PesHeader::PacketSize::offset,
                       fmt::format("packet size is {} or {}: the packet is truncated or its size is wrong",
                                   packet.size, left));
        }
        return std::nullopt;
    }

    /// The size up to the next recognizable packet, if that repeats it and few other fields are wrong.
    std::optional<std::uint32_t> size_up_to_next(const PesHeader::Bytes& header, Packet packet) {
        const auto expected = [&] { return expected_header(packet, map_, previous_size_); };
        if (different_fields(header, expected(), kPacketFields) > kMaxWrongFields + 1) return std::nullopt;
        const auto next = find_packet(recording_, map_, packet.offset + 1);
        if (!next || *next - packet.offset > kPacketSizeBits) return std::nullopt;
        packet.size = static_cast<std::uint32_t>(*next - packet.offset);
        const bool known = possible_size(packet.size) && is_repeated_at(*next, packet.size) &&
                           different_fields(header, expected(), kPacketFields) <= kMaxWrongFields;
        return known ? std::optional(packet.size) : std::nullopt;
    }

    bool is_repeated_at(std::uint64_t position, std::uint32_t size) {
        return is_size_repeated_at(recording_, map_, position, size);
    }

    bool packet_begins_at(std::uint64_t position) {
        if (position >= recording_.data_size()) return position == recording_.data_size();
        const auto header = recording_.packet_header(position);
        return header && begins_packet(*header, map_);
    }

    /// Sets the values of a packet whose header has a fault. What the header does not tell is taken from the
    /// entry if all else in it is right.
    void resolve(const PesHeader::Bytes& header, Packet& packet) {
        packet.flags |= kAlwaysSetFlags;
        const bool clear_time = resolve_time(header, packet);
        const bool known_id = map_.streams.at(packet.slot).id == packet.stream_id;
        const bool known_picture = packet.picture_type() == kKeyFrame || packet.picture_type() == kOtherFrame;
        resolved_ = clear_time && known_id && known_picture;
        if (resolved_) return;
        const auto other = found_ ? described_by_entry(packet, 0) : std::nullopt;
        if (!other) return;
        resolved_ = true;
        if (!clear_time) packet.time = other->time;
        if (!known_picture) packet.flags = other->flags;
        if (known_id) return;
        packet.slot = other->slot;
        packet.stream_id = other->stream_id;
    }

    /// Chooses between the two time stamps if they differ: the one that is well formed or, of two, the one in
    /// the entry. False if neither is known to be right.
    bool resolve_time(const PesHeader::Bytes& header, Packet& packet) const {
        const auto presentation = time_of(PesHeader::PresentationTime::of(header), kPresentationPrefix);
        const auto decoding = time_of(PesHeader::DecodingTime::of(header), kDecodingPrefix);
        const auto differs = [&](const std::optional<std::uint32_t>& time) {
            return !time || (found_ && *time != PsiFrameEntry::TimeOfDay::get(*found_));
        };
        if (!presentation && !decoding) return false;
        const bool by_presentation =
            !decoding || (presentation && differs(decoding) && !differs(presentation));
        packet.time.milliseconds = by_presentation ? *presentation : *decoding;
        const bool undecided = presentation && decoding && presentation != decoding &&
                               differs(presentation) == differs(decoding);
        return !undecided && packet.time.plausible();
    }

    /// The milliseconds of a time stamp that the module could have written.
    static std::optional<std::uint32_t> time_of(std::span<const platform::Byte, 5> stamp,
                                                std::uint8_t prefix) {
        const std::uint64_t ticks = get_time_stamp(stamp);
        std::array<platform::Byte, 5> written{};
        put_time_stamp(written, prefix, ticks);
        const bool possible = std::ranges::equal(stamp, written) && ticks % kClockPerMillisecond == 0 &&
                              ticks / kClockPerMillisecond < kMillisecondsPerDay;
        return possible ? std::optional(static_cast<std::uint32_t>(ticks / kClockPerMillisecond))
                        : std::nullopt;
    }

    /// The packet with the entry's stream, flags and time. Nothing if it is not possible, or if more than the
    /// given number of other fields in the entry contradict the packets.
    std::optional<Packet> described_by_entry(const Packet& packet, std::size_t max_wrong) const {
        Packet other = packet;
        other.slot = PsiFrameEntry::Slot::get(*found_);
        if (other.slot >= kSlots) return std::nullopt;
        other.stream_id = map_.streams.at(other.slot).id;
        other.flags = PsiFrameEntry::Flags::get(*found_);
        other.time = {PsiFrameEntry::Date::get(*found_), PsiFrameEntry::TimeOfDay::get(*found_)};
        // The packet has its time twice, so one flipped bit does not change it.
        if (resolved_ && max_wrong > 0) other.time.milliseconds = packet.time.milliseconds;
        const bool possible = (other.flags & kAlwaysSetFlags) == kAlwaysSetFlags && is_plausible(other);
        return possible && different_fields(*found_, expected_entry_of(other), kEntryFields) <= max_wrong
                   ? std::optional(other)
                   : std::nullopt;
    }

    /// The entry that the packet must have, with the link to the next one as it is.
    PsiFrameEntry::Bytes expected_entry_of(const Packet& packet) const {
        return expected_entry(packet, map_, slots_.at(packet.slot).last_entry, key_distance_of(packet),
                              found_ ? PsiFrameEntry::Next::get(*found_) : kNoEntry);
    }

    std::uint16_t key_distance_of(const Packet& packet) const {
        return packet.picture_type() <= kKeyFrame
                   ? std::uint16_t{0}
                   : static_cast<std::uint16_t>(slots_.at(packet.slot).key_distance + 1);
    }

    /// Decides between a packet and its entry if both are possible.
    void settle(Packet& packet) {
        auto other = described_by_entry(packet, 1);
        if (!other || *other == packet) other = described_by_entry(packet, 0);
        if (!other) return;
        if (resolved_) report_.contested.push_back(packet.number);
        const Choice choice = choices_.of(packet.number);
        if (choice == Choice::kUndecided) {
            report_.undecided = true;
            data_fault(packet, packet.offset,
                       fmt::format("{}, but {} in the index; either can be right", text_of(packet),
                                   text_of(*other)));
        }
        if (choice != Choice::kIndex) return;
        packet = *other;
        expected_ = expected_entry_of(packet);
    }

    static std::string text_of(const Packet& packet) {
        return fmt::format("{}, slot {}, flags {:02X}", reader::text_of(packet.time), packet.slot,
                           packet.flags);
    }

    /// False if bytes may be missing before the packet, because the size of the packet before it is neither
    /// the expected one nor that with a flipped bit, and its entry differs too.
    bool is_after_previous(const PesHeader::Bytes& header) const {
        std::array<platform::Byte, PesHeader::PreviousSize::width> expected{};
        put_size22(expected, previous_size_);
        const auto size = PesHeader::PreviousSize::of(PesHeader::View(header));
        int different_bits = 0;
        for (std::size_t i = 0; i < expected.size(); ++i)
            different_bits += std::popcount(static_cast<platform::Byte>(size[i] ^ expected.at(i)));
        return different_bits <= 1 || (found_ && *found_ == expected_);
    }

    void report_header(const PesHeader::Bytes& found, const Packet& packet) {
        const PesHeader::Bytes expected = expected_header(packet, map_, previous_size_);
        Fault record = report_.in_data(packet.offset, fmt::format("packet {}", packet.number), packet.number);
        const bool known = resolved_ && is_plausible(packet) && is_after_previous(found) &&
                           different_fields(found, expected, kPacketFields) <= kMaxWrongFields &&
                           report_.corrections.size() < kMaxCorrections;
        if (known) record.repair = Repair::kByCorrecting;
        std::vector<Correction> corrections =
            compare_fields(report_.faults, record, found, expected, kPacketFields);
        if (known) std::ranges::move(corrections, std::back_inserter(report_.corrections));
        if (!known) report_values(packet);
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
        const bool truncated = cut != nullptr && is_truncated(*cut);
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
        if (!recording_.read_data(at, used)) return data_fault(packet, at, "padding cannot be read");
        if (all_zero(used)) return;
        Fault fault =
            report_.in_data(at, fmt::format("packet {}: padding is not zero", packet.number), packet.number);
        if (const auto wrong = wrong_padding_byte(used)) {
            fault.repair = Repair::kByCorrecting;
            report_.corrections.push_back({at + *wrong, {0}});
        }
        report_.faults.add(std::move(fault));
    }

    /// The only byte that is not zero, unless the number of padding bytes may be wrong instead: frames do not
    /// end in zeros, so with one bit of the number cleared, it would be the number of zeros at the end.
    static std::optional<std::size_t> wrong_padding_byte(std::span<const platform::Byte> padding) {
        const auto is_set = [](platform::Byte byte) { return byte != 0; };
        if (std::ranges::count_if(padding, is_set) != 1) return std::nullopt;
        const auto at = static_cast<std::size_t>(std::ranges::find_if(padding, is_set) - padding.begin());
        const std::size_t zeros = padding.size() - at - 1;
        const std::size_t changed = padding.size() ^ zeros;
        return std::has_single_bit(changed) ? std::nullopt : std::optional(at);
    }

    void verify_entry(const Packet& packet) {
        SlotSummary& slot = slots_.at(packet.slot);
        slot.key_distance = key_distance_of(packet);
        verify_link(slot, packet.number);
        if (found_) {
            if (*found_ != expected_) {
                compare_fields(report_.faults,
                               report_.in_index(entry_at(packet.number),
                                                fmt::format("entry {}", packet.number), packet.number),
                               *found_, expected_, kEntryFields);
            }
            slot.found_next = PsiFrameEntry::Next::get(*found_);
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
        if (report_.frames++ == 0) report_.first = report_.last = packet.time;
        report_.date_steps += static_cast<std::uint64_t>(std::abs(packet.time.date - report_.last.date));
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
    const Choices& choices_;
    Report& report_;
    const StreamMapInfo& map_;
    SlotSummaries slots_{};
    std::uint64_t at_ = kPacketsAt;
    std::uint32_t previous_size_ = kNoSize;
    bool packets_lost_ = false;  // packets were skipped because of damage
    std::optional<Packet> last_;

    // Of the current packet:
    bool resolved_ = true;                       // its values are known although its header has a fault
    std::optional<PsiFrameEntry::Bytes> found_;  // its entry, unless packets were lost
    PsiFrameEntry::Bytes expected_{};
};

}  // namespace

void verify_packets(Recording& recording, VerifyDepth depth, const PacketVisitor& visit,
                    const Choices& choices, Report& report) {
    PacketVerifier(recording, depth, visit, choices, report).run();
}

}  // namespace reader
