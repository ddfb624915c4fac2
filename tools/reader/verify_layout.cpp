// The fixed parts of both files: pack header and stream map of the data file, header of the index file.

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "ps/encodings.h"
#include "tools/reader/verify_steps.h"

namespace reader {
namespace {

constexpr std::array kPackParts = {NamedPart{"content", 0, PackHeader::size}};

constexpr std::array kMapParts = {
    part<StreamMap::StartCode>("start code"),
    part<StreamMap::Length>("length"),
    part<StreamMap::Version>("version"),
    part<StreamMap::Marker>("marker"),
    part<StreamMap::InfoLength>("program info length"),
    NamedPart{"program info filler", StreamMap::Info::offset + ProgramInfo::Filler::offset,
              ProgramInfo::Filler::width},
    NamedPart{"program info byte 60", StreamMap::Info::offset + ProgramInfo::Word60::offset, 1},
    NamedPart{"program info end", StreamMap::Info::offset + ProgramInfo::Word60::offset + 1,
              ProgramInfo::size - ProgramInfo::Word60::offset - 1},
    part<StreamMap::EntriesLength>("length of the entries"),
};

constexpr std::uint16_t kEntryInfoLength = MapEntry::size - MapEntry::Width::offset;
constexpr std::size_t kEntryReservedAt = 8;
constexpr std::array kMapEntryParts = {
    part<MapEntry::InfoLength>("information length"),
    part<MapEntry::Filler>("filler"),
    NamedPart{"reserved", kEntryReservedAt, MapEntry::Name::offset - kEntryReservedAt},
};

constexpr std::size_t kHeaderReservedAt = 44;
constexpr std::array kHeaderParts = {
    part<PsiHeader::Version>("version"),
    part<PsiHeader::HeaderSize>("header size"),
    part<PsiHeader::StreamRecords>("number of stream records"),
    part<PsiHeader::EntrySize>("entry size"),
    part<PsiHeader::StreamRecordSize>("stream record size"),
    part<PsiHeader::SpanSize>("span size"),
    NamedPart{"reserved", kHeaderReservedAt, PsiHeader::size - kHeaderReservedAt},
};

template <std::size_t Length>
void clear(std::span<platform::Byte, Length> bytes) {
    std::fill(bytes.begin(), bytes.end(), platform::Byte{0});
}

/// The map as it should be around what differs from file to file.
StreamMap::Bytes expected_map(const StreamMap::Bytes& found) {
    StreamMap::Bytes map = found;
    StreamMap::StartCode::put(map, kMapStartCode);
    StreamMap::Length::put(map, StreamMap::size - StreamMap::Version::offset);
    StreamMap::Version::put(map, kMapVersion);
    StreamMap::Marker::put(map, kMapMarker);
    StreamMap::InfoLength::put(map, StreamMap::Info::width);
    StreamMap::EntriesLength::put(map, StreamMap::Entries::width);
    auto info = StreamMap::Info::of(StreamMap::MutableView(map));
    auto filler = ProgramInfo::Filler::of(info);
    std::fill(filler.begin(), filler.end(), platform::Byte{0xFF});
    clear(info.subspan<ProgramInfo::Word60::offset>());
    ProgramInfo::Word60::put(info, kProgramInfoByte60);
    return map;
}

/// Whether an id is one of those that the slot's stream can have.
bool stands_for(std::uint8_t id, std::uint32_t slot) {
    constexpr std::uint8_t kGroupBits = 0xF0;
    const std::uint8_t group = id & kGroupBits;
    const bool known = slot < kSlots / 2 ? group == 0xD0 || group == 0xE0 : group == 0xC0;
    return known && slot_of_stream_id(id) == slot;
}

/// One elementary stream: the id has to stand for the slot, the rest has one fixed form.
void verify_map_entry(Recording& recording, std::uint32_t slot, MapEntry::View entry, Report& report) {
    const std::uint64_t at =
        PackHeader::size + StreamMap::Entries::offset + std::uint64_t{slot} * MapEntry::size;
    const std::string name = fmt::format("map entry {}", slot);
    MapEntry::Bytes expected{};
    std::copy(entry.begin(), entry.end(), expected.begin());
    MapEntry::InfoLength::put(expected, kEntryInfoLength);
    if (slot < kSlots / 2) MapEntry::Filler::put(expected, 0xFFFF);
    clear(std::span(expected).subspan<kEntryReservedAt, MapEntry::Name::offset - kEntryReservedAt>());
    compare_parts(report.faults, {recording.data_path(), at, name}, entry, expected, kMapEntryParts);
    const std::uint8_t id = MapEntry::Id::get(entry);
    if (stands_for(id, slot)) return;
    add_data_fault(recording, at + MapEntry::Id::offset,
                   fmt::format("{}: stream id {:02X} is none of this slot", name, id), report);
}

void verify_size(Recording& recording, const PsiHeader::Bytes& header, Report& report) {
    const std::uint64_t expected = kEntriesAt +
                                   std::uint64_t{PsiHeader::Entries::get(header)} * PsiFrameEntry::size +
                                   std::uint64_t{PsiHeader::Spans::get(header)} * PsiSpan::size;
    if (recording.index_size() == expected) return;
    add_index_fault(
        recording, recording.index_size(),
        fmt::format("file size is {}, not {} as {} entries and {} spans need", recording.index_size(),
                    expected, PsiHeader::Entries::get(header), PsiHeader::Spans::get(header)),
        report);
}

}  // namespace

bool verify_map(Recording& recording, Report& report) {
    const auto pack = recording.pack_header();
    const auto map = recording.stream_map();
    if (!pack || !map) {
        add_data_fault(recording, recording.data_size(), "file ends before the first packet", report);
        return false;
    }
    compare_parts(report.faults, {recording.data_path(), 0, "pack header"}, *pack, kPackHeader, kPackParts);
    compare_parts(report.faults, {recording.data_path(), PackHeader::size, "map"}, *map, expected_map(*map),
                  kMapParts);
    const auto entries = StreamMap::Entries::of(StreamMap::View(*map));
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        const MapEntry::View entry(
            entries.subspan(std::size_t{slot} * MapEntry::size).first<MapEntry::size>());
        verify_map_entry(recording, slot, entry, report);
    }
    report.map = facts_of(*map);
    return true;
}

void verify_index_header(Recording& recording, Report& report) {
    if (!recording.has_index()) {
        add_index_fault(recording, 0, "no index file beside the data file, or it cannot be opened", report);
        return;
    }
    const auto header = recording.header();
    if (!header || recording.index_size() < kEntriesAt) {
        add_index_fault(recording, recording.index_size(), "file ends before the first entry", report);
        return;
    }
    PsiHeader::Bytes expected = *header;
    PsiHeader::Version::put(expected, kIndexVersion);
    PsiHeader::HeaderSize::put(expected, PsiHeader::size);
    PsiHeader::StreamRecords::put(expected, kSlots);
    PsiHeader::EntrySize::put(expected, PsiFrameEntry::size);
    PsiHeader::StreamRecordSize::put(expected, PsiStreamRecord::size);
    PsiHeader::SpanSize::put(expected, PsiSpan::size);
    clear(std::span(expected).subspan<kHeaderReservedAt>());
    compare_parts(report.faults, {recording.index_path(), 0, "header", {}, Repair::kByRebuilding}, *header,
                  expected, kHeaderParts);
    if (recording.completed()) {
        verify_size(recording, *header, report);
        return;
    }
    add_index_fault(recording, PsiHeader::Entries::offset,
                    fmt::format("index was never completed: {} entries, none counted", recording.entries()),
                    report);
}

}  // namespace reader
