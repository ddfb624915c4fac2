#include "tools/reader/verify.h"

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

bool id_belongs_to(std::uint8_t id, std::uint32_t slot) {
    const std::uint8_t base = id & static_cast<std::uint8_t>(~kStreamNumberBits);
    const bool known = slot < kVideoSlots ? base == kVideoId || base == kVideoIdWithCodec : base == kAudioId;
    return known && slot_of_stream_id(id) == slot;
}

/// Checks the map entry of one slot: its stream id and its constants.
void verify_map_entry(std::uint32_t slot, MapEntry::View entry, Report& report) {
    const std::uint64_t at =
        PackHeader::size + StreamMap::Entries::offset + std::uint64_t{slot} * MapEntry::size;
    const std::string name = fmt::format("map entry {}", slot);
    MapEntry::Bytes expected{};
    std::copy(entry.begin(), entry.end(), expected.begin());
    MapEntry::InfoLength::put(expected, kMapEntryInfoLength);
    if (slot < kVideoSlots) MapEntry::Filler::put(expected, kMapEntryFiller);
    std::ranges::fill(MapEntry::Reserved::of(MapEntry::MutableView(expected)), platform::Byte{0});
    compare_fields(report.faults, report.in_data(at, name), entry, expected, kMapEntryFields);
    const std::uint8_t id = MapEntry::Id::get(entry);
    if (id_belongs_to(id, slot)) return;
    report.faults.add(
        report.in_data(at + MapEntry::Id::offset,
                       fmt::format("{}: stream id {:02X} does not belong to this slot", name, id)));
}

void verify_size(const PsiHeader::Bytes& header, Report& report) {
    const std::uint64_t expected = kEntriesAt +
                                   std::uint64_t{PsiHeader::Entries::get(header)} * PsiFrameEntry::size +
                                   std::uint64_t{PsiHeader::Spans::get(header)} * PsiSpan::size;
    if (report.index_size == expected) return;
    report.faults.add(report.in_index(
        report.index_size,
        fmt::format("file size is {}, not {} for {} entries and {} spans", report.index_size, expected,
                    PsiHeader::Entries::get(header), PsiHeader::Spans::get(header))));
}

/// Checks pack header and map. False if the data file ends before the first packet.
bool verify_map(Recording& recording, Report& report) {
    const auto pack = recording.pack_header();
    const auto map = recording.stream_map();
    if (!pack || !map) {
        report.faults.add(report.in_data(recording.data_size(), "file ends before the first packet"));
        return false;
    }
    compare_fields(report.faults, report.in_data(0, "pack header"), *pack, kPackHeader, kPackFields);
    StreamMap::Bytes expected = *map;
    put_map_constants(expected);
    compare_fields(report.faults, report.in_data(PackHeader::size, "map"), *map, expected, kMapFields);
    const auto entries = StreamMap::Entries::of(StreamMap::View(*map));
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        const MapEntry::View entry(
            entries.subspan(std::size_t{slot} * MapEntry::size).first<MapEntry::size>());
        verify_map_entry(slot, entry, report);
    }
    report.map = parse_stream_map(*map);
    return true;
}

/// Checks that the index file exists, the constants in its header, and its size.
void verify_index_header(Recording& recording, Report& report) {
    if (!recording.has_index()) {
        report.faults.add(report.in_index(0, "the index file is missing or cannot be opened"));
        return;
    }
    const auto header = recording.header();
    if (!header || report.index_size < kEntriesAt) {
        report.faults.add(report.in_index(report.index_size, "file ends before the first entry"));
        return;
    }
    PsiHeader::Bytes expected = *header;
    put_index_constants(expected);
    compare_fields(report.faults, report.in_index(0, "header"), *header, expected, kHeaderFields);
    if (recording.completed()) {
        verify_size(*header, report);
        return;
    }
    report.faults.add(report.in_index(
        PsiHeader::Entries::offset,
        fmt::format("index was never completed: {} entries, none counted", recording.entries())));
}

}  // namespace

Report verify(Recording& recording, VerifyDepth depth, const PacketVisitor& visit) {
    Report report;
    report.path = recording.data_path();
    report.data_size = recording.data_size();
    report.index_size = recording.index_size();
    if (!recording.has_data()) {
        report.faults.add(report.in_data(0, "the data file is missing or cannot be opened"));
        return report;
    }
    const bool readable = verify_map(recording, report);
    verify_index_header(recording, report);
    if (readable) verify_packets(recording, depth, visit, report);
    return report;
}

}  // namespace reader
