#include "ps/ps_index.h"

#include <algorithm>

#include "ps/encodings.h"

using platform::Byte;

namespace {

std::uint64_t position_of(std::uint32_t entry) {
    return kEntriesAt + std::uint64_t{PsiFrameEntry::size} * entry;
}

/// Bit 16 of a packet's size in units, for the entry's SizeHigh.
constexpr int kSizeHighShift = 21;

/// What the entry says of the packet alone; position and links come later.
PsiFrameEntry::Bytes entry_of(PesHeader::View header, std::uint8_t slot, std::uint32_t packet_size) {
    PsiFrameEntry::Bytes entry{};
    PsiFrameEntry::Slot::put(entry, slot);
    PsiFrameEntry::Flags::put(entry, PesHeader::Flags::get(header));
    PsiFrameEntry::Program::put(entry, PesHeader::Program::get(header));
    PsiFrameEntry::SizeUnits::put(entry, static_cast<std::uint16_t>(packet_size / kPacketUnit));
    PsiFrameEntry::SizeHigh::put(entry, static_cast<std::uint8_t>(packet_size >> kSizeHighShift));
    PsiFrameEntry::Date::put(entry, static_cast<std::uint16_t>(PesHeader::DateLow::get(header) |
                                                               PesHeader::DateHigh::get(header) << 8));
    const std::uint64_t ticks = get_time_stamp(PesHeader::DecodingTime::of(header));
    PsiFrameEntry::TimeOfDay::put(entry, static_cast<std::uint32_t>(ticks / kClockPerMillisecond));
    PsiFrameEntry::Previous::put(entry, kNoEntry);
    PsiFrameEntry::Next::put(entry, kNoEntry);
    return entry;
}

/// Packets since the slot's last key picture; picture type 0 counts as one.
std::uint16_t count_key_distance(PsWriter& writer, PsiFrameEntry::View entry) {
    std::uint16_t& distance = writer.key_distance[PsiFrameEntry::Slot::get(entry)];
    const bool is_key = (PsiFrameEntry::Flags::get(entry) & kPictureTypeBits) <= kKeyFrame;
    distance = is_key ? std::uint16_t{0} : static_cast<std::uint16_t>(distance + 1);
    return distance;
}

/// How far writing an entry got.
struct Written {
    bool link = false;   // the slot's previous entry, if there is one, points at the new one
    bool entry = false;  // the new entry stands behind the others
};

/// The usual case: the slot's previous entry is the last one of the file, so that its link and the new entry
/// lie side by side.
Written write_link_and_entry(PsWriter& writer, PsiFrameEntry::View before, PsiFrameEntry::View entry,
                             std::uint32_t index) {
    constexpr std::size_t kLinkAt = PsiFrameEntry::Next::offset;
    constexpr std::size_t kLinkPart = PsiFrameEntry::size - kLinkAt;
    std::array<Byte, kLinkPart + PsiFrameEntry::size> run{};
    const auto behind = std::ranges::copy(before.subspan<kLinkAt>(), run.begin()).out;
    std::ranges::copy(entry, behind);
    const std::size_t count = writer.index->write_at(position_of(index) - kLinkPart, run);
    return {.link = count >= kLinkPart, .entry = count == run.size()};
}

/// Puts the entry behind the others and makes the slot's previous entry point at it, that first.
Written write_entry(PsWriter& writer, PsiFrameEntry::View entry, std::uint32_t index) {
    const std::uint32_t previous = PsiFrameEntry::Previous::get(entry);
    if (previous != kNoEntry) {
        PsiFrameEntry::Bytes& before = writer.last_entries[PsiFrameEntry::Slot::get(entry)];
        PsiFrameEntry::Next::put(before, index);
        if (previous + 1 == index) return write_link_and_entry(writer, before, entry, index);
        if (writer.index->write_at(position_of(previous), before) != before.size()) return {};
    }
    return {.link = true, .entry = writer.index->write_at(position_of(index), entry) == entry.size()};
}

/// Enters the new entry into its slot's stream record and gives it its link back. False when the record's
/// last entry is none.
bool begin_in_stream(PsWriter& writer, PsiFrameEntry::MutableView entry, std::uint32_t index) {
    PsiStreamRecord::Bytes& stream = writer.streams[PsiFrameEntry::Slot::get(entry)];
    const std::uint32_t packets = PsiStreamRecord::Packets::get(stream);
    PsiStreamRecord::Packets::put(stream, packets + 1);
    if (packets == 0) {
        PsiStreamRecord::FirstEntry::put(stream, index);
        PsiStreamRecord::FirstDate::put(stream, PsiFrameEntry::Date::get(entry));
        PsiStreamRecord::FirstTime::put(stream, PsiFrameEntry::TimeOfDay::get(entry));
        return true;
    }
    PsiFrameEntry::Previous::put(entry, PsiStreamRecord::LastEntry::get(stream));
    return PsiFrameEntry::Previous::get(entry) != kNoEntry;
}

void extend_stream(PsWriter& writer, PsiFrameEntry::View entry, std::uint32_t index) {
    PsiStreamRecord::Bytes& stream = writer.streams[PsiFrameEntry::Slot::get(entry)];
    PsiStreamRecord::LastEntry::put(stream, index);
    PsiStreamRecord::LastDate::put(stream, PsiFrameEntry::Date::get(entry));
    PsiStreamRecord::LastTime::put(stream, PsiFrameEntry::TimeOfDay::get(entry));
    const std::uint8_t kind = PsiFrameEntry::Flags::get(entry) & kRecordingKindBits;
    PsiStreamRecord::Kinds::put(stream, PsiStreamRecord::Kinds::get(stream) | kind);
}

void count_entry(PsWriter& writer, PsiFrameEntry::View entry) {
    const std::uint32_t entries = PsiHeader::Entries::get(writer.header);
    const std::uint16_t date = PsiFrameEntry::Date::get(entry);
    const std::uint32_t time = PsiFrameEntry::TimeOfDay::get(entry);
    PsiHeader::Entries::put(writer.header, entries + 1);
    if (entries == 0) {
        PsiHeader::FirstDate::put(writer.header, date);
        PsiHeader::FirstTime::put(writer.header, time);
    }
    PsiHeader::LastDate::put(writer.header, date);
    PsiHeader::LastTime::put(writer.header, time);
}

bool is_open(PsiSpan::View span) {
    return PsiSpan::FirstDate::get(span) != 0;
}

/// A time that goes backwards breaks a span too: the difference wraps around.
bool breaks_span(PsiSpan::View span, PsiFrameEntry::View entry, std::uint8_t kind) {
    return PsiSpan::Kind::get(span) != kind ||
           PsiSpan::LastDate::get(span) != PsiFrameEntry::Date::get(entry) ||
           PsiFrameEntry::TimeOfDay::get(entry) - PsiSpan::LastTime::get(span) > kSpanGap;
}

}  // namespace

std::int32_t ps_index_packet(PsWriter& writer, PesHeader::MutableView header, std::uint32_t packet_size) {
    if (!writer.open_flag) return kPsRefused;
    if ((packet_size & ~kPacketSizeBits) != 0) return kPsRefused;
    const std::uint8_t slot = slot_of_stream_id(PesHeader::StreamId::get(header));
    const std::uint32_t index = PsiHeader::Entries::get(writer.header);
    PsiFrameEntry::Bytes entry = entry_of(header, slot, packet_size);
    PsiFrameEntry::KeyDistance::put(entry, count_key_distance(writer, entry));
    PsiFrameEntry::Position::put(
        entry, static_cast<std::uint32_t>((writer.data_end - writer.data_start) / kPacketUnit));
    put_size22(PesHeader::PreviousSize::of(header), writer.previous_size);

    if (index == kNoEntry || !begin_in_stream(writer, entry, index)) return kPsRefused;
    const Written written = write_entry(writer, entry, index);
    // The record follows what stands on disk: an entry that was linked but not written is its last one.
    if (written.link) extend_stream(writer, entry, index);
    if (!written.entry) return kPsWriteFailed;
    writer.last_entries[slot] = entry;
    count_entry(writer, entry);
    writer.previous_size = packet_size;
    ps_track_span(writer, entry);
    return kPsOk;
}

std::int32_t ps_write_index_header(PsWriter& writer) {
    if (!writer.open_flag) return kPsRefused;
    std::array<Byte, kEntriesAt> beginning{};
    auto to = std::ranges::copy(writer.header, beginning.begin()).out;
    for (const PsiStreamRecord::Bytes& stream : writer.streams) to = std::ranges::copy(stream, to).out;
    return writer.index->write_at(0, beginning) == beginning.size() ? kPsOk : kPsWriteFailed;
}

void ps_track_span(PsWriter& writer, PsiFrameEntry::View entry) {
    const std::uint8_t slot = PsiFrameEntry::Slot::get(entry);
    const std::uint8_t kind = PsiFrameEntry::Flags::get(entry) & kRecordingKindBits;
    PsiSpan::Bytes& span = writer.open_spans[slot];
    if (is_open(span) && breaks_span(span, entry, kind)) {
        writer.closed_spans.add(span);
        span = {};
    }
    const bool begins = !is_open(span);
    PsiSpan::Kind::put(span, PsiSpan::Kind::get(span) | kind);
    PsiSpan::LastDate::put(span, PsiFrameEntry::Date::get(entry));
    PsiSpan::LastTime::put(span, PsiFrameEntry::TimeOfDay::get(entry));
    if (!begins) return;
    PsiSpan::FirstDate::put(span, PsiFrameEntry::Date::get(entry));
    PsiSpan::FirstTime::put(span, PsiFrameEntry::TimeOfDay::get(entry));
    PsiSpan::Slot::put(span, slot);
}

std::uint32_t ps_span_count(const PsWriter& writer) {
    const auto open =
        std::ranges::count_if(writer.open_spans, [](PsiSpan::View span) { return is_open(span); });
    return static_cast<std::uint32_t>(writer.closed_spans.size() + static_cast<std::size_t>(open));
}

void ps_write_spans(PsWriter& writer) {
    const std::uint64_t position = position_of(PsiHeader::Entries::get(writer.header));
    if (!writer.closed_spans.write(*writer.index, position)) return;
    std::array<Byte, kSlots * PsiSpan::size> open{};
    auto end = open.begin();
    for (const PsiSpan::Bytes& span : writer.open_spans) {
        if (is_open(span)) end = std::ranges::copy(span, end).out;
    }
    if (end == open.begin()) return;
    (void)writer.index->write_at(position + writer.closed_spans.size() * PsiSpan::size, {open.begin(), end});
}
