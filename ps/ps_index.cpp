#include "ps/ps_index.h"

#include <algorithm>

#include "ps/encodings.h"

using platform::Byte;

namespace {

bool write_whole(PsWriter& writer, std::span<const Byte> bytes) {
    return writer.index->write(bytes) == bytes.size();
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
    const bool is_key = (PsiFrameEntry::Flags::get(entry) & kPictureTypeBits) <= kKeyPicture;
    distance = is_key ? std::uint16_t{0} : static_cast<std::uint16_t>(distance + 1);
    return distance;
}

/// Makes the slot's previous entry, already on disk, point at the new one.
std::int32_t link_previous(PsWriter& writer, std::uint32_t previous, std::uint32_t next) {
    if (previous == kNoEntry) return kPsRefused;
    if (const std::int32_t result = ps_seek_index_entry(writer, previous); result != kPsOk) return result;
    PsiFrameEntry::Bytes entry{};
    if (writer.index->read(entry) != entry.size()) return kPsReadFailed;
    const bool unlinked = PsiFrameEntry::Previous::get(entry) == 0 && PsiFrameEntry::Next::get(entry) == 0;
    if (PsiFrameEntry::Slot::get(entry) >= kSlots || unlinked) return kPsRefused;
    PsiFrameEntry::Next::put(entry, next);
    if (const std::int32_t result = ps_seek_index_entry(writer, previous); result != kPsOk) return result;
    return write_whole(writer, entry) && writer.index->flush() ? kPsOk : kPsWriteFailed;
}

/// Enters the new entry into its slot's stream record and links it behind the slot's previous one.
std::int32_t chain(PsWriter& writer, PsiFrameEntry::MutableView entry, std::uint32_t index) {
    PsiStreamRecord::Bytes& stream = writer.streams[PsiFrameEntry::Slot::get(entry)];
    const std::uint16_t date = PsiFrameEntry::Date::get(entry);
    const std::uint32_t time = PsiFrameEntry::TimeOfDay::get(entry);
    const std::uint32_t packets = PsiStreamRecord::Packets::get(stream);
    PsiStreamRecord::Packets::put(stream, packets + 1);
    if (packets == 0) {
        PsiStreamRecord::FirstEntry::put(stream, index);
        PsiStreamRecord::FirstDate::put(stream, date);
        PsiStreamRecord::FirstTime::put(stream, time);
    } else {
        const std::uint32_t previous = PsiStreamRecord::LastEntry::get(stream);
        PsiFrameEntry::Previous::put(entry, previous);
        if (const std::int32_t result = link_previous(writer, previous, index); result != kPsOk)
            return result;
    }
    PsiStreamRecord::LastEntry::put(stream, index);
    PsiStreamRecord::LastDate::put(stream, date);
    PsiStreamRecord::LastTime::put(stream, time);
    const std::uint8_t kind = PsiFrameEntry::Flags::get(entry) & kRecordingKindBits;
    PsiStreamRecord::Kinds::put(stream, PsiStreamRecord::Kinds::get(stream) | kind);
    return kPsOk;
}

/// Puts the entry behind the others, pointing at the data file's end, where its packet will be.
std::int32_t append_entry(PsWriter& writer, PsiFrameEntry::MutableView entry, std::uint32_t index) {
    const std::int64_t end = writer.data->seek_end();
    if (end < 0) return kPsSeekFailed;
    PsiFrameEntry::Position::put(entry, static_cast<std::uint32_t>((end - writer.data_start) / kPacketUnit));
    if (index == kNoEntry) return kPsRefused;
    if (const std::int32_t result = ps_seek_index_entry(writer, index); result != kPsOk) return result;
    return write_whole(writer, entry) && writer.index->flush() ? kPsOk : kPsWriteFailed;
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

/// Keeps room for every span that may still be open, so that closing the writer never has to allocate.
void close_span(PsWriter& writer, PsiSpan::Bytes& span) {
    if (writer.closed_spans.capacity() - writer.closed_spans.size() <= kSlots) {
        writer.closed_spans.reserve(2 * (writer.closed_spans.size() + kSlots));
    }
    writer.closed_spans.push_back(span);
    span = {};
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
    put_size22(PesHeader::PreviousSize::of(header), writer.previous_size);

    if (const std::int32_t result = chain(writer, entry, index); result != kPsOk) return result;
    if (const std::int32_t result = append_entry(writer, entry, index); result != kPsOk) return result;
    count_entry(writer, entry);
    writer.previous_size = packet_size;
    ps_track_span(writer, entry);
    return kPsOk;
}

std::int32_t ps_write_index_header(PsWriter& writer) {
    if (!writer.open_flag) return kPsRefused;
    if (!writer.index->seek(0)) return kPsSeekFailed;
    if (!write_whole(writer, writer.header)) return kPsWriteFailed;
    std::array<Byte, kSlots * PsiStreamRecord::size> table{};
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
        std::ranges::copy(writer.streams[slot],
                          table.begin() + static_cast<std::ptrdiff_t>(slot * PsiStreamRecord::size));
    }
    return write_whole(writer, table) && writer.index->flush() ? kPsOk : kPsWriteFailed;
}

std::int32_t ps_seek_index_entry(PsWriter& writer, std::uint32_t entry) {
    const std::uint64_t target = kEntriesAt + std::uint64_t{PsiFrameEntry::size} * entry;
    if (writer.index->position() == static_cast<std::int64_t>(target)) return kPsOk;
    return writer.index->seek(target) ? kPsOk : kPsSeekFailed;
}

void ps_track_span(PsWriter& writer, PsiFrameEntry::View entry) {
    const std::uint8_t slot = PsiFrameEntry::Slot::get(entry);
    const std::uint8_t kind = PsiFrameEntry::Flags::get(entry) & kRecordingKindBits;
    PsiSpan::Bytes& span = writer.open_spans[slot];
    if (is_open(span) && breaks_span(span, entry, kind)) {
        close_span(writer, span);
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

void ps_flush_spans(PsWriter& writer) {
    for (PsiSpan::Bytes& span : writer.open_spans) {
        if (is_open(span)) writer.closed_spans.push_back(span);
        span = {};
    }
}
