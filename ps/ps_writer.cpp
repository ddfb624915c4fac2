#include "ps/ps_writer.h"

#include <algorithm>

#include "ps/encodings.h"
#include "ps/ps_index.h"

using platform::Byte;

namespace {

/// Padding of every packet, shared by all writers.
constexpr std::array<Byte, kPacketUnit> kPadding{};

constexpr std::uint8_t kPresentationPrefix = 3;
constexpr std::uint8_t kDecodingPrefix = 1;

bool write_whole(PsWriter& writer, const platform::DataFile::Parts& parts) {
    const std::size_t length = parts[0].size() + parts[1].size() + parts[2].size();
    return ps_write_all(writer, parts) == static_cast<std::int64_t>(length);
}

/// At most as many characters as the field holds, zeros behind; a text that fills it is not terminated.
template <std::size_t Length>
void put_name(std::span<Byte, Length> field, const std::string& name) {
    const std::size_t length = std::min({name.find('\0'), name.size(), Length});
    std::ranges::fill(field, Byte{0});
    std::ranges::copy(platform::bytes_of(std::string_view(name).substr(0, length)), field.begin());
}

ProgramInfo::Bytes program_info(const PsProgramInfo& program) {
    ProgramInfo::Bytes info{};
    std::ranges::fill(ProgramInfo::Filler::of(ProgramInfo::MutableView(info)), Byte{0xFF});
    std::ranges::copy(program.code, ProgramInfo::Code::of(ProgramInfo::MutableView(info)).begin());
    std::ranges::copy(program.further, ProgramInfo::Further::of(ProgramInfo::MutableView(info)).begin());
    put_name(ProgramInfo::Name::of(ProgramInfo::MutableView(info)), program.name);
    ProgramInfo::Word60::put(info, kProgramInfoByte60);
    return info;
}

MapEntry::Bytes map_entry(const PsStreamDesc& stream) {
    MapEntry::Bytes entry{};
    MapEntry::Type::put(entry, stream.type);
    MapEntry::Id::put(entry, stream.id);
    MapEntry::InfoLength::put(entry, MapEntry::size - MapEntry::Width::offset);
    if (is_video_id(stream.id)) {
        MapEntry::Width::put(entry, stream.width);
        MapEntry::Height::put(entry, stream.height);
        MapEntry::Filler::put(entry, 0xFFFF);
    } else {
        MapEntry::ValueA::put(entry, stream.value_a);
        MapEntry::ValueB::put(entry, stream.value_b);
    }
    put_name(MapEntry::Name::of(MapEntry::MutableView(entry)), stream.name);
    return entry;
}

StreamMap::Bytes stream_map(const PsProgramInfo& program, const PsStreamDescs& streams) {
    StreamMap::Bytes map{};
    StreamMap::StartCode::put(map, kMapStartCode);
    StreamMap::Length::put(map, StreamMap::size - StreamMap::Version::offset);
    StreamMap::Version::put(map, kMapVersion);
    StreamMap::Marker::put(map, kMapMarker);
    StreamMap::InfoLength::put(map, ProgramInfo::size);
    std::ranges::copy(program_info(program), StreamMap::Info::of(StreamMap::MutableView(map)).begin());
    StreamMap::EntriesLength::put(map, StreamMap::Entries::width);
    auto to = StreamMap::Entries::of(StreamMap::MutableView(map)).begin();
    for (const PsStreamDesc& stream : streams) to = std::ranges::copy(map_entry(stream), to).out;
    return map;
}

PsiHeader::Bytes fresh_index_header() {
    PsiHeader::Bytes header{};
    PsiHeader::Version::put(header, kIndexVersion);
    PsiHeader::HeaderSize::put(header, PsiHeader::size);
    PsiHeader::StreamRecords::put(header, kSlots);
    PsiHeader::EntrySize::put(header, PsiFrameEntry::size);
    PsiHeader::StreamRecordSize::put(header, PsiStreamRecord::size);
    PsiHeader::SpanSize::put(header, PsiSpan::size);
    return header;
}

void fill_tables(PsWriter& writer, const PsProgramInfo& program, const PsStreamDescs& streams) {
    writer.header = fresh_index_header();
    writer.program_code = program.code[0];
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
        PsiStreamRecord::Bytes& record = writer.streams[slot];
        record = {};
        PsiStreamRecord::FirstIndexByte::put(record, streams[slot].first_index_byte);
        PsiStreamRecord::SecondIndexByte::put(record, streams[slot].second_index_byte);
        writer.id_of_slot[slot] = streams[slot].id;
        writer.open_spans[slot] = {};
    }
    writer.closed_spans.clear();
}

std::int32_t write_beginning(PsWriter& writer, const PsProgramInfo& program, const PsStreamDescs& streams) {
    if (const std::int32_t result = ps_write_index_header(writer); result != kPsOk) return result;
    if (!write_whole(writer, {kPackHeader, stream_map(program, streams)})) return kPsWriteFailed;
    writer.data_start = writer.data->position();
    writer.data_end = writer.data_start;
    return writer.data_start < 0 ? kPsSeekFailed : kPsOk;
}

/// Milliseconds since midnight.
std::uint64_t time_of_day(const PsFrame& frame) {
    const std::uint64_t minutes = std::uint64_t{frame.hour} * 60 + frame.minute;
    return (minutes * 60 + frame.second) * 1000 + frame.millisecond;
}

PesHeader::Bytes pes_header(const PsWriter& writer, const PsFrame& frame, std::uint32_t packet_size,
                            std::uint32_t padding) {
    PesHeader::Bytes header{};
    const PesHeader::MutableView view(header);
    const std::uint64_t ticks = time_of_day(frame) * kClockPerMillisecond;
    const std::uint16_t date = date16(frame.year, frame.month, frame.day);
    PesHeader::StartCode::of(view)[2] = 0x01;
    PesHeader::StreamId::put(header, writer.id_of_slot[frame.slot]);
    PesHeader::Length::put(header, static_cast<std::uint16_t>(packet_size - PesHeader::Marker::offset));
    PesHeader::Marker::put(header, kPesMarker);
    PesHeader::Contents::put(header, kPesContents);
    PesHeader::DataLength::put(header, kPesDataLength);
    put_time_stamp(PesHeader::PresentationTime::of(view), kPresentationPrefix, ticks);
    put_time_stamp(PesHeader::DecodingTime::of(view), kDecodingPrefix, ticks);
    PesHeader::ExtensionFlags::put(header, kPesExtensionFlags);
    PesHeader::ExtensionLength::put(header, kPesExtensionLength);
    put_size22(PesHeader::PacketSize::of(view), packet_size);
    PesHeader::Flags::put(header, static_cast<std::uint8_t>((frame.recording_kind & 0xFCU) | kAlwaysSetFlags |
                                                            (frame.picture_type & kPictureTypeBits)));
    PesHeader::Program::put(header, static_cast<std::uint8_t>(0xC0U | (writer.program_code & 3U) << 4));
    PesHeader::Padding::put(header, static_cast<std::uint8_t>(0xC0U | padding));
    PesHeader::DateLow::put(header, static_cast<std::uint8_t>(date & 0xFF));
    PesHeader::DateHigh::put(header, static_cast<std::uint8_t>(date >> 8));
    return header;
}

void complete_index(PsWriter& writer) {
    PsiHeader::Spans::put(writer.header, ps_span_count(writer));
    ps_write_spans(writer);
    (void)ps_write_index_header(writer);  // there is nobody left to tell
}

}  // namespace

void ps_writer_init(PsWriter& writer) {
    writer = PsWriter{};
    writer.previous_size = kNoSize;
}

void ps_writer_destroy(PsWriter& writer) {
    ps_close(writer);
}

std::int32_t ps_open(PsWriter& writer, const PsProgramInfo& program, const PsStreamDescs& streams) {
    fill_tables(writer, program, streams);
    const std::int32_t result = write_beginning(writer, program, streams);
    if (result != kPsOk) ps_close(writer);
    return result;
}

std::int32_t ps_write_frame(PsWriter& writer, const PsFrame& frame) {
    if (frame.slot >= kSlots) return kPsRefused;
    const auto length = static_cast<std::uint32_t>(frame.payload.size());
    const std::uint32_t padding = (kPacketUnit - length % kPacketUnit) % kPacketUnit;
    const std::uint32_t packet_size = static_cast<std::uint32_t>(PesHeader::size) + length + padding;
    if (packet_size < length) return kPsRefused;  // wrapped around
    PesHeader::Bytes header = pes_header(writer, frame, packet_size, padding);
    if (const std::int32_t result = ps_index_packet(writer, header, packet_size); result != kPsOk)
        return result;
    return write_whole(writer, {header, frame.payload, std::span(kPadding).first(padding)}) ? kPsOk
                                                                                            : kPsWriteFailed;
}

void ps_close(PsWriter& writer) {
    if (writer.index != nullptr && writer.open_flag) complete_index(writer);
    ps_writer_init(writer);
}

std::int64_t ps_write_all(PsWriter& writer, const platform::DataFile::Parts& parts) {
    const std::int64_t written = writer.data->append(parts);
    if (written > 0) writer.data_end += written;
    return written;
}
