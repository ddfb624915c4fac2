// Checks the fixed parts of both files: pack header and stream map, header of the index file.

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "ps/record_builder.h"
#include "tools/reader/verify_steps.h"

namespace reader {
namespace {

constexpr std::array kPackFields = {NamedField{"content", 0, PackHeader::size}};

constexpr std::array kMapFields = {
    field<StreamMap::StartCode>("start code"),
    field<StreamMap::Length>("length"),
    field<StreamMap::Version>("version"),
    field<StreamMap::Marker>("marker"),
    field<StreamMap::InfoLength>("program info length"),
    NamedField{"program info filler", StreamMap::Info::offset + ProgramInfo::Filler::offset,
               ProgramInfo::Filler::width},
    NamedField{"program info byte 60", StreamMap::Info::offset + ProgramInfo::Byte60::offset,
               ProgramInfo::Byte60::width},
    NamedField{"program info end", StreamMap::Info::offset + ProgramInfo::Reserved::offset,
               ProgramInfo::Reserved::width},
    field<StreamMap::EntriesLength>("length of the entries"),
};

constexpr std::array kMapEntryFields = {
    field<MapEntry::InfoLength>("information length"),
    field<MapEntry::Filler>("filler"),
    field<MapEntry::Reserved>("reserved"),
};

constexpr std::array kHeaderFields = {
    field<PsiHeader::Version>("version"),
    field<PsiHeader::HeaderSize>("header size"),
    field<PsiHeader::StreamRecords>("number of stream records"),
    field<PsiHeader::EntrySize>("entry size"),
    field<PsiHeader::StreamRecordSize>("stream record size"),
    field<PsiHeader::SpanSize>("span size"),
    field<PsiHeader::Reserved>("reserved"),
};

bool id_belongs_to(std::uint8_t id, std::uint32_t slot) {
    const std::uint8_t base = id & static_cast<std::uint8_t>(~kStreamNumberBits);
    const bool known = slot < kVideoSlots ? base == kVideoId || base == kVideoIdWithCodec : base == kAudioId;
    return known && slot_of_stream_id(id) == slot;
}

/// Checks the map entry of one slot: its stream id and its constants.
void verify_map_entry(Recording& recording, std::uint32_t slot, MapEntry::View entry, Report& report) {
    const std::uint64_t at =
        PackHeader::size + StreamMap::Entries::offset + std::uint64_t{slot} * MapEntry::size;
    const std::string name = fmt::format("map entry {}", slot);
    MapEntry::Bytes expected{};
    std::copy(entry.begin(), entry.end(), expected.begin());
    MapEntry::InfoLength::put(expected, kMapEntryInfoLength);
    if (slot < kVideoSlots) MapEntry::Filler::put(expected, kMapEntryFiller);
    std::ranges::fill(MapEntry::Reserved::of(MapEntry::MutableView(expected)), platform::Byte{0});
    compare_fields(report.faults, {recording.data_path(), at, name}, entry, expected, kMapEntryFields);
    const std::uint8_t id = MapEntry::Id::get(entry);
    if (id_belongs_to(id, slot)) return;
    add_data_fault(recording, at + MapEntry::Id::offset,
                   fmt::format("{}: stream id {:02X} does not belong to this slot", name, id), report);
}

void verify_size(Recording& recording, const PsiHeader::Bytes& header, Report& report) {
    const std::uint64_t expected = kEntriesAt +
                                   std::uint64_t{PsiHeader::Entries::get(header)} * PsiFrameEntry::size +
                                   std::uint64_t{PsiHeader::Spans::get(header)} * PsiSpan::size;
    if (recording.index_size() == expected) return;
    add_index_fault(recording, recording.index_size(),
                    fmt::format("file size is {}, not {} for {} entries and {} spans", recording.index_size(),
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
    compare_fields(report.faults, {recording.data_path(), 0, "pack header"}, *pack, kPackHeader, kPackFields);
    StreamMap::Bytes expected = *map;
    put_map_constants(expected);
    compare_fields(report.faults, {recording.data_path(), PackHeader::size, "map"}, *map, expected,
                   kMapFields);
    const auto entries = StreamMap::Entries::of(StreamMap::View(*map));
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        const MapEntry::View entry(
            entries.subspan(std::size_t{slot} * MapEntry::size).first<MapEntry::size>());
        verify_map_entry(recording, slot, entry, report);
    }
    report.map = parse_stream_map(*map);
    return true;
}

void verify_index_header(Recording& recording, Report& report) {
    if (!recording.has_index()) {
        add_index_fault(recording, 0, "the index file is missing or cannot be opened", report);
        return;
    }
    const auto header = recording.header();
    if (!header || recording.index_size() < kEntriesAt) {
        add_index_fault(recording, recording.index_size(), "file ends before the first entry", report);
        return;
    }
    PsiHeader::Bytes expected = *header;
    put_index_constants(expected);
    compare_fields(report.faults, {recording.index_path(), 0, "header", {}, Repair::kByRebuilding}, *header,
                   expected, kHeaderFields);
    if (recording.completed()) {
        verify_size(recording, *header, report);
        return;
    }
    add_index_fault(recording, PsiHeader::Entries::offset,
                    fmt::format("index was never completed: {} entries, none counted", recording.entries()),
                    report);
}

}  // namespace reader
