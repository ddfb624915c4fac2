#include "ps/ps_writer.h"

#include <algorithm>

#include "ps/encodings.h"
#include "ps/ps_index.h"
#include "ps/record_builder.h"

using platform::Byte;

namespace {

/// The padding bytes of all packets.
constexpr std::array<Byte, kPacketUnit> kPadding{};

bool write_whole(PsWriter& writer, const platform::DataFile::Parts& parts) {
    const std::size_t length = parts[0].size() + parts[1].size() + parts[2].size();
    return ps_write_all(writer, parts) == static_cast<std::int64_t>(length);
}

/// Cuts the name to the field's length and fills the rest with zeros. A name of exactly that length has no
/// terminating zero.
template <std::size_t Length>
void put_name(std::span<Byte, Length> field, const std::string& name) {
    const std::size_t length = std::min({name.find('\0'), name.size(), Length});
    std::ranges::fill(field, Byte{0});
    std::ranges::copy(platform::bytes_of(std::string_view(name).substr(0, length)), field.begin());
}

MapEntry::Bytes map_entry(const PsStreamDesc& stream) {
    MapEntry::Bytes entry{};
    MapEntry::Type::put(entry, stream.type);
    MapEntry::Id::put(entry, stream.id);
    MapEntry::InfoLength::put(entry, kMapEntryInfoLength);
    if (is_video_id(stream.id)) {
        MapEntry::Width::put(entry, stream.width);
        MapEntry::Height::put(entry, stream.height);
        MapEntry::Filler::put(entry, kMapEntryFiller);
    } else {
        MapEntry::ValueA::put(entry, stream.value_a);
        MapEntry::ValueB::put(entry, stream.value_b);
    }
    put_name(MapEntry::Name::of(MapEntry::MutableView(entry)), stream.name);
    return entry;
}

StreamMap::Bytes stream_map(const PsProgramInfo& program, const PsStreamDescs& streams) {
    StreamMap::Bytes map{};
    const StreamMap::MutableView view(map);
    put_map_constants(view);
    const ProgramInfo::MutableView info = StreamMap::Info::of(view);
    std::ranges::copy(program.code, ProgramInfo::Code::of(info).begin());
    std::ranges::copy(program.extra, ProgramInfo::Extra::of(info).begin());
    put_name(ProgramInfo::Name::of(info), program.name);
    auto to = StreamMap::Entries::of(view).begin();
    for (const PsStreamDesc& stream : streams) to = std::ranges::copy(map_entry(stream), to).out;
    return map;
}

void fill_tables(PsWriter& writer, const PsProgramInfo& program, const PsStreamDescs& streams) {
    writer.header = {};
    put_index_constants(writer.header);
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

PacketFields packet_fields(const PsWriter& writer, const PsFrame& frame, std::uint32_t size,
                           std::uint32_t padding) {
    constexpr auto kKindBits = static_cast<std::uint8_t>(~kPictureTypeBits);
    return {.stream_id = writer.id_of_slot[frame.slot],
            .flags = static_cast<std::uint8_t>((frame.recording_kind & kKindBits) |
                                               (frame.picture_type & kPictureTypeBits)),
            .program = program_byte(writer.program_code),
            .size = size,
            .padding = padding,
            .date = date16(frame.year, frame.month, frame.day),
            .milliseconds = time_of_day(frame)};
}

void complete_index(PsWriter& writer) {
    PsiHeader::Spans::put(writer.header, ps_span_count(writer));
    ps_write_spans(writer);
    (void)ps_write_index_header(writer);  // closing reports no errors
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
    if (packet_size < length) return kPsRefused;  // the sum overflowed
    PesHeader::Bytes header = packet_header(packet_fields(writer, frame, packet_size, padding));
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
