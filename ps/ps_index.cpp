#include "ps/ps_index.h"

#include <algorithm>

#include "ps/encodings.h"

using platform::Byte;

namespace {

/// The part of an entry that depends on its packet only.
PsiFrameEntry::Bytes new_entry(PesHeader::View header, std::uint8_t slot, std::uint32_t packet_size) {
    const std::uint32_t units = packet_size / kPacketUnit;
    PsiFrameEntry::Bytes entry{};
    PsiFrameEntry::Slot::put(entry, slot);
    PsiFrameEntry::Flags::put(entry, PesHeader::Flags::get(header));
    PsiFrameEntry::Program::put(entry, PesHeader::Program::get(header));
    PsiFrameEntry::SizeUnits::put(entry, static_cast<std::uint16_t>(units));
    PsiFrameEntry::SizeHigh::put(entry, static_cast<std::uint8_t>(units >> 16U));
    PsiFrameEntry::Date::put(entry, get_date16(PesHeader::Date::of(header)));
    const std::uint64_t ticks = get_time_stamp(PesHeader::DecodingTime::of(header));
    PsiFrameEntry::TimeOfDay::put(entry, static_cast<std::uint32_t>(ticks / kClockPerMillisecond));
    PsiFrameEntry::Previous::put(entry, kNoEntry);
    PsiFrameEntry::Next::put(entry, kNoEntry);
    return entry;
}

/// Packets since the slot's last key frame. Picture type 0 counts as a key frame.
std::uint16_t count_key_distance(PsWriter& writer, PsiFrameEntry::View entry) {
    std::uint16_t& distance = writer.key_distance[PsiFrameEntry::Slot::get(entry)];
    const bool is_key = (PsiFrameEntry::Flags::get(entry) & kPictureTypeBits) <= kKeyFrame;
    distance = is_key ? std::uint16_t{0} : static_cast<std::uint16_t>(distance + 1);
    return distance;
}

/// Which parts of an entry were written completely.
struct EntryWriteResult {
    bool link = false;  // the slot's previous entry, if any, points at the new one
    bool entry = false;
};

/// The usual case: the slot's previous entry is the last one of the file. Its link is then adjacent to the
/// new entry, so that one write is enough.
EntryWriteResult write_link_and_entry(PsWriter& writer, PsiFrameEntry::View previous,
                                      PsiFrameEntry::View entry, std::uint32_t index) {
    constexpr std::size_t kLinkAt = PsiFrameEntry::Next::offset;
    constexpr std::size_t kLinkPart = PsiFrameEntry::size - kLinkAt;
    std::array<Byte, kLinkPart + PsiFrameEntry::size> both{};
    const auto after_link = std::ranges::copy(previous.subspan<kLinkAt>(), both.begin()).out;
    std::ranges::copy(entry, after_link);
    const std::size_t count = writer.index->write_at(entry_at(index) - kLinkPart, both);
    return {.link = count >= kLinkPart, .entry = count == both.size()};
}

/// Makes the slot's previous entry point at the new one, then appends the new one.
EntryWriteResult write_entry(PsWriter& writer, PsiFrameEntry::View entry, std::uint32_t index) {
    const std::uint32_t number = PsiFrameEntry::Previous::get(entry);
    if (number != kNoEntry) {
        PsiFrameEntry::Bytes& previous = writer.last_entries[PsiFrameEntry::Slot::get(entry)];
        PsiFrameEntry::Next::put(previous, index);
        if (number + 1 == index) return write_link_and_entry(writer, previous, entry, index);
        if (writer.index->write_at(entry_at(number), previous) != previous.size()) return {};
    }
    return {.link = true, .entry = writer.index->write_at(entry_at(index), entry) == entry.size()};
}

template <typename Layout>
void put_first_time_of(typename Layout::Bytes& record, PsiFrameEntry::View entry) {
    put_first_time<Layout>(record, PsiFrameEntry::Date::get(entry), PsiFrameEntry::TimeOfDay::get(entry));
}
template <typename Layout>
void put_last_time_of(typename Layout::Bytes& record, PsiFrameEntry::View entry) {
    put_last_time<Layout>(record, PsiFrameEntry::Date::get(entry), PsiFrameEntry::TimeOfDay::get(entry));
}

/// Counts the entry in its slot's stream record and links it to the slot's previous entry. False if the
/// record has packets but no last entry.
bool link_to_stream(PsWriter& writer, PsiFrameEntry::MutableView entry, std::uint32_t index) {
    PsiStreamRecord::Bytes& stream = writer.streams[PsiFrameEntry::Slot::get(entry)];
    const std::uint32_t packets = PsiStreamRecord::Packets::get(stream);
    PsiStreamRecord::Packets::put(stream, packets + 1);
    if (packets == 0) {
        PsiStreamRecord::FirstEntry::put(stream, index);
        put_first_time_of<PsiStreamRecord>(stream, entry);
        return true;
    }
    PsiFrameEntry::Previous::put(entry, PsiStreamRecord::LastEntry::get(stream));
    return PsiFrameEntry::Previous::get(entry) != kNoEntry;
}

void extend_stream(PsWriter& writer, PsiFrameEntry::View entry, std::uint32_t index) {
    PsiStreamRecord::Bytes& stream = writer.streams[PsiFrameEntry::Slot::get(entry)];
    PsiStreamRecord::LastEntry::put(stream, index);
    put_last_time_of<PsiStreamRecord>(stream, entry);
    const std::uint8_t kind = PsiFrameEntry::Flags::get(entry) & kRecordingKindBits;
    PsiStreamRecord::Kinds::put(stream, PsiStreamRecord::Kinds::get(stream) | kind);
}

void count_entry(PsWriter& writer, PsiFrameEntry::View entry) {
    const std::uint32_t entries = PsiHeader::Entries::get(writer.header);
    PsiHeader::Entries::put(writer.header, entries + 1);
    if (entries == 0) put_first_time_of<PsiHeader>(writer.header, entry);
    put_last_time_of<PsiHeader>(writer.header, entry);
}

bool is_open(PsiSpan::View span) {
    return PsiSpan::FirstDate::get(span) != 0;
}

/// A time that goes backwards also ends a span, because the unsigned difference wraps around.
bool ends_span(PsiSpan::View span, PsiFrameEntry::View entry, std::uint8_t kind) {
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
    PsiFrameEntry::Bytes entry = new_entry(header, slot, packet_size);
    PsiFrameEntry::KeyDistance::put(entry, count_key_distance(writer, entry));
    PsiFrameEntry::Position::put(
        entry, static_cast<std::uint32_t>((writer.data_end - writer.data_start) / kPacketUnit));
    put_size22(PesHeader::PreviousSize::of(header), writer.previous_size);

    if (index == kNoEntry || !link_to_stream(writer, entry, index)) return kPsRefused;
    const EntryWriteResult written = write_entry(writer, entry, index);
    // The stream record must match the file: once the link is written, the new entry is the last one, even if
    // writing the entry itself failed.
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
    if (is_open(span) && ends_span(span, entry, kind)) {
        writer.closed_spans.add(span);
        span = {};
    }
    if (!is_open(span)) {
        PsiSpan::Slot::put(span, slot);
        put_first_time_of<PsiSpan>(span, entry);
    }
    PsiSpan::Kind::put(span, PsiSpan::Kind::get(span) | kind);
    put_last_time_of<PsiSpan>(span, entry);
}

std::uint32_t ps_span_count(const PsWriter& writer) {
    const auto open =
        std::ranges::count_if(writer.open_spans, [](PsiSpan::View span) { return is_open(span); });
    return static_cast<std::uint32_t>(writer.closed_spans.size() + static_cast<std::size_t>(open));
}

void ps_write_spans(PsWriter& writer) {
    const std::uint64_t position = entry_at(PsiHeader::Entries::get(writer.header));
    if (!writer.closed_spans.write(*writer.index, position)) return;
    std::array<Byte, kSlots * PsiSpan::size> open{};
    auto end = open.begin();
    for (const PsiSpan::Bytes& span : writer.open_spans) {
        if (is_open(span)) end = std::ranges::copy(span, end).out;
    }
    if (end == open.begin()) return;
    (void)writer.index->write_at(position + writer.closed_spans.size() * PsiSpan::size, {open.begin(), end});
}
