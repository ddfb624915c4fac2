// One pass through the entries in file order, each against its packet.

#include <algorithm>
#include <array>

#include <fmt/format.h>

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
constexpr std::uint8_t kPaddingBits = 0x1F;
constexpr std::uint8_t kPaddingMarker = 0xC0;
constexpr std::uint8_t kPresentationPrefix = 3;
constexpr std::uint8_t kDecodingPrefix = 1;

class PacketPass {
  public:
    PacketPass(Recording& recording, const MapFacts& map, Report& report)
        : recording_(recording), map_(map), report_(report) {}

    SlotCounts run();

  private:
    void verify_entry(const Entry& entry);
    void verify_place(const Entry& entry);
    void verify_key_distance(const Entry& entry);
    void verify_packet(const Entry& entry);
    void verify_padding(const Entry& entry, std::uint8_t padding);
    void verify_span(const Span& span);
    void verify_ends();
    void count(const Entry& entry);
    [[nodiscard]] PesHeader::Bytes expected_header(const Entry& entry, std::uint8_t padding) const;

    void entry_fault(const Entry& entry, std::size_t field_at, std::string_view text) {
        report_.faults.add(recording_.index_path(), Recording::entry_at(entry.number) + field_at,
                           fmt::format("entry {}: {}", entry.number, text));
    }
    void packet_fault(const Entry& entry, std::uint64_t at, std::string_view text) {
        report_.faults.add(recording_.data_path(), at, fmt::format("packet {}: {}", entry.number, text));
    }

    Recording& recording_;
    const MapFacts& map_;
    Report& report_;
    SpanTracker tracker_;
    SlotCounts counts_{};
    std::array<std::uint16_t, kSlots> distances_{};  // wrap like the field
    std::uint64_t packets_end_ = kPacketsAt;
    std::uint32_t previous_size_ = kNoSize;
    std::uint32_t spans_seen_ = 0;
};

SlotCounts PacketPass::run() {
    for (std::uint32_t number = 0; number < recording_.entries(); ++number) {
        const auto entry = recording_.entry(number);
        if (!entry) {
            report_.faults.add(recording_.index_path(), Recording::entry_at(number), "entry cannot be read");
            return counts_;
        }
        verify_entry(*entry);
        verify_place(*entry);
        verify_packet(*entry);
        if (entry->slot < kSlots) {
            verify_key_distance(*entry);
            if (const auto ended = tracker_.take(*entry)) verify_span(*ended);
        }
        count(*entry);
    }
    verify_ends();
    return counts_;
}

void PacketPass::verify_entry(const Entry& entry) {
    if (entry.slot >= kSlots)
        entry_fault(entry, PsiFrameEntry::Slot::offset, fmt::format("slot is {}", entry.slot));
    if ((entry.flags & kAlwaysSetFlags) != kAlwaysSetFlags) {
        entry_fault(entry, PsiFrameEntry::Flags::offset, fmt::format("flags are {:02X}", entry.flags));
    }
    if (entry.program != map_.program) {
        entry_fault(entry, PsiFrameEntry::Program::offset,
                    fmt::format("program is {:02X}, not {:02X}", entry.program, map_.program));
    }
    if (entry.packet_size < PesHeader::size || (entry.packet_size & ~kPacketSizeBits) != 0) {
        entry_fault(entry, PsiFrameEntry::SizeUnits::offset,
                    fmt::format("packet size is {}", entry.packet_size));
    }
    if (!entry.moment.plausible()) {
        entry_fault(entry, PsiFrameEntry::Date::offset,
                    fmt::format("date {:04X} and {} ms name no instant", entry.moment.date,
                                entry.moment.milliseconds));
    }
    if (!entry.reserved_clear) entry_fault(entry, 0, "reserved bytes are not zero");
}

void PacketPass::verify_place(const Entry& entry) {
    if (entry.packet_at != packets_end_) {
        entry_fault(
            entry, PsiFrameEntry::Position::offset,
            fmt::format("packet is at {}, but the one before ends at {}", entry.packet_at, packets_end_));
    }
    packets_end_ = entry.packet_end();
}

void PacketPass::verify_key_distance(const Entry& entry) {
    std::uint16_t& distance = distances_.at(entry.slot);
    distance =
        entry.picture_type() <= kKeyPicture ? std::uint16_t{0} : static_cast<std::uint16_t>(distance + 1);
    if (entry.key_distance == distance) return;
    entry_fault(entry, PsiFrameEntry::KeyDistance::offset,
                fmt::format("{} packets since the last key picture, not {}", entry.key_distance, distance));
}

PesHeader::Bytes PacketPass::expected_header(const Entry& entry, std::uint8_t padding) const {
    const std::uint64_t time = entry.moment.milliseconds * kClockPerMillisecond;
    PesHeader::Bytes bytes{};
    const PesHeader::MutableView header(bytes);
    PesHeader::StartCode::of(header)[2] = 1;
    PesHeader::StreamId::put(header, entry.slot < kSlots ? map_.stream_ids.at(entry.slot) : std::uint8_t{0});
    PesHeader::Length::put(header, static_cast<std::uint16_t>(entry.packet_size - 6U));
    PesHeader::Marker::put(header, kPesMarker);
    PesHeader::Contents::put(header, kPesContents);
    PesHeader::DataLength::put(header, kPesDataLength);
    put_time_stamp(PesHeader::PresentationTime::of(header), kPresentationPrefix, time);
    put_time_stamp(PesHeader::DecodingTime::of(header), kDecodingPrefix, time);
    PesHeader::ExtensionFlags::put(header, kPesExtensionFlags);
    PesHeader::ExtensionLength::put(header, kPesExtensionLength);
    put_size22(PesHeader::PreviousSize::of(header), previous_size_);
    put_size22(PesHeader::PacketSize::of(header), entry.packet_size);
    PesHeader::Flags::put(header, entry.flags);
    PesHeader::Program::put(header, entry.program);
    PesHeader::Padding::put(header, static_cast<std::uint8_t>(kPaddingMarker | (padding & kPaddingBits)));
    PesHeader::DateLow::put(header, static_cast<std::uint8_t>(entry.moment.date & 0xFFU));
    PesHeader::DateHigh::put(header, static_cast<std::uint8_t>(entry.moment.date >> 8U));
    return bytes;
}

void PacketPass::verify_packet(const Entry& entry) {
    const auto header = recording_.packet_header(entry);
    if (!header || entry.packet_end() > recording_.data_size()) {
        packet_fault(entry, entry.packet_at,
                     fmt::format("ends at {}, the file at {}", entry.packet_end(), recording_.data_size()));
    } else {
        const std::uint8_t padding = PesHeader::Padding::get(*header);
        compare_parts(report_.faults, recording_.data_path(), entry.packet_at,
                      fmt::format("packet {}", entry.number), *header, expected_header(entry, padding),
                      kPacketParts);
        verify_padding(entry, padding & kPaddingBits);
    }
    previous_size_ = entry.packet_size;
}

void PacketPass::verify_padding(const Entry& entry, std::uint8_t padding) {
    if (entry.packet_size < PesHeader::size + padding) {
        packet_fault(entry, entry.packet_at + PesHeader::Padding::offset, "more padding than payload");
        return;
    }
    std::array<platform::Byte, kPaddingBits> bytes{};
    const auto used = std::span(bytes).first(padding);
    const std::uint64_t at = entry.packet_end() - padding;
    if (!recording_.read_data(at, used) || !all_zero(used)) packet_fault(entry, at, "padding is not zero");
}

void PacketPass::verify_span(const Span& span) {
    const std::uint32_t number = spans_seen_++;
    const auto found = recording_.span(number);
    if (found && *found == span) return;
    if (found && !found->reserved_clear) {
        report_.faults.add(recording_.index_path(), recording_.span_at(number),
                           fmt::format("span {}: reserved bytes are not zero", number));
        return;
    }
    const std::string is = found ? fmt::format("slot {} kind {:02X} from {} to {}", found->slot, found->kind,
                                               text_of(found->first), text_of(found->last))
                                 : "missing";
    report_.faults.add(recording_.index_path(), recording_.span_at(number),
                       fmt::format("span {}: {}, not slot {} kind {:02X} from {} to {}", number, is,
                                   span.slot, span.kind, text_of(span.first), text_of(span.last)));
}

void PacketPass::count(const Entry& entry) {
    if (entry.slot < kSlots) ++counts_.at(entry.slot);
    if (entry.is_key()) ++report_.key_frames;
    if (report_.frames++ == 0) report_.first = entry.moment;
    report_.last = entry.moment;
}

void PacketPass::verify_ends() {
    for (const Span& span : tracker_.rest()) verify_span(span);
    report_.spans = recording_.spans();
    if (report_.spans > spans_seen_) {
        report_.faults.add(recording_.index_path(), recording_.span_at(spans_seen_),
                           fmt::format("{} spans, not {}", report_.spans, spans_seen_));
    }
    if (recording_.data_size() != packets_end_) {
        report_.faults.add(recording_.data_path(), std::min(packets_end_, recording_.data_size()),
                           fmt::format("file size is {}, not {}", recording_.data_size(), packets_end_));
    }
}

}  // namespace

SlotCounts verify_packets(Recording& recording, const MapFacts& map, Report& report) {
    return PacketPass(recording, map, report).run();
}

}  // namespace reader
