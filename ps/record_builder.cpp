#include "ps/record_builder.h"

#include <algorithm>

#include "ps/encodings.h"

using platform::Byte;

void put_map_constants(StreamMap::MutableView map) noexcept {
    StreamMap::StartCode::put(map, kMapStartCode);
    StreamMap::Length::put(map, kMapLength);
    StreamMap::Version::put(map, kMapVersion);
    StreamMap::Marker::put(map, kMapMarker);
    StreamMap::InfoLength::put(map, StreamMap::Info::width);
    StreamMap::EntriesLength::put(map, StreamMap::Entries::width);
    const ProgramInfo::MutableView info = StreamMap::Info::of(map);
    std::ranges::fill(ProgramInfo::Filler::of(info), kFillerByte);
    ProgramInfo::Byte60::put(info, kProgramInfoByte60);
    std::ranges::fill(ProgramInfo::Reserved::of(info), Byte{0});
}

void put_index_constants(PsiHeader::MutableView header) noexcept {
    PsiHeader::Version::put(header, kIndexVersion);
    PsiHeader::HeaderSize::put(header, PsiHeader::size);
    PsiHeader::StreamRecords::put(header, kSlots);
    PsiHeader::EntrySize::put(header, PsiFrameEntry::size);
    PsiHeader::StreamRecordSize::put(header, PsiStreamRecord::size);
    PsiHeader::SpanSize::put(header, PsiSpan::size);
    std::ranges::fill(PsiHeader::Reserved::of(header), Byte{0});
}

PesHeader::Bytes packet_header(const PacketFields& fields) noexcept {
    PesHeader::Bytes bytes{};
    const PesHeader::MutableView header(bytes);
    const std::uint64_t ticks = fields.milliseconds * kClockPerMillisecond;
    std::ranges::copy(kPacketStartCode, PesHeader::StartCode::of(header).begin());
    PesHeader::StreamId::put(header, fields.stream_id);
    PesHeader::Length::put(header, static_cast<std::uint16_t>(fields.size - PesHeader::Marker::offset));
    PesHeader::Marker::put(header, kPesMarker);
    PesHeader::Contents::put(header, kPesContents);
    PesHeader::DataLength::put(header, kPesDataLength);
    put_time_stamp(PesHeader::PresentationTime::of(header), kPresentationPrefix, ticks);
    put_time_stamp(PesHeader::DecodingTime::of(header), kDecodingPrefix, ticks);
    PesHeader::ExtensionFlags::put(header, kPesExtensionFlags);
    PesHeader::ExtensionLength::put(header, kPesExtensionLength);
    put_size22(PesHeader::PacketSize::of(header), fields.size);
    PesHeader::Flags::put(header, fields.flags | kAlwaysSetFlags);
    PesHeader::Program::put(header, fields.program);
    PesHeader::Padding::put(header, static_cast<std::uint8_t>(kPaddingMarker | fields.padding));
    put_date16(PesHeader::Date::of(header), fields.date);
    return bytes;
}
