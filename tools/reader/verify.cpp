#include "tools/reader/verify.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <tuple>
#include <utility>

#include <fmt/format.h>

#include "ps/record_builder.h"
#include "tools/reader/verify_steps.h"

namespace reader {
namespace {

/// Each decision reads the recording again.
constexpr std::size_t kMaxDecided = 64;

constexpr std::array kPackFields = {NamedField{"content", 0, PackHeader::size}};

constexpr std::size_t kProgramCodeAt = StreamMap::Info::offset + ProgramInfo::Code::offset;

constexpr std::array kMapFields = {
    field<StreamMap::StartCode>("start code"),
    field<StreamMap::Length>("length"),
    field<StreamMap::Version>("version"),
    field<StreamMap::Marker>("marker"),
    field<StreamMap::InfoLength>("program info length"),
    NamedField{"program info filler", StreamMap::Info::offset + ProgramInfo::Filler::offset,
               ProgramInfo::Filler::width},
    NamedField{"program code", kProgramCodeAt, 1},
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

/// The stream id of the slot. If the one in the map is impossible, the next video slot tells the base.
std::uint8_t expected_id(StreamMap::View map, std::uint32_t slot) {
    const auto id_of = [&](std::uint32_t of) { return MapEntry::Id::get(map_entry(map, of)); };
    if (id_belongs_to(id_of(slot), slot)) return id_of(slot);
    const auto number = static_cast<std::uint8_t>(slot % kVideoSlots);
    if (slot >= kVideoSlots) return kAudioId | number;
    const std::uint32_t next = (slot + 1) % kVideoSlots;
    const bool with_codec =
        id_belongs_to(id_of(next), next) && (id_of(next) & kVideoIdWithCodec) == kVideoIdWithCodec;
    return static_cast<std::uint8_t>((with_codec ? kVideoIdWithCodec : kVideoId) | number);
}

/// Sets the program code to that of the packets if two of the first packets and the first entry agree on it.
void put_program_code(Recording& recording, StreamMap::Bytes& map) {
    std::array<int, kProgramCodeBits + 1> votes{};
    const auto vote = [&](std::uint8_t program) {
        for (std::uint8_t code = 0; code <= kProgramCodeBits; ++code)
            if (program == program_byte(code)) ++votes.at(code);
    };
    const auto first = recording.packet_header(kPacketsAt);
    if (first) {
        vote(PesHeader::Program::get(*first));
        const auto second = recording.packet_header(parse_packet(*first, 0, kPacketsAt).end());
        if (second) vote(PesHeader::Program::get(*second));
    }
    if (const auto entry = recording.entry_record(0)) vote(PsiFrameEntry::Program::get(*entry));
    platform::Byte& byte = map.at(kProgramCodeAt);
    const auto code = static_cast<std::uint8_t>(std::ranges::max_element(votes) - votes.begin());
    if (votes.at(code) >= 2) byte = static_cast<platform::Byte>((byte & ~kProgramCodeBits) | code);
}

/// The map with the values that are known.
StreamMap::Bytes expected_map(Recording& recording, const StreamMap::Bytes& found) {
    StreamMap::Bytes map = found;
    put_map_constants(map);
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        const MapEntry::MutableView entry = map_entry(StreamMap::MutableView(map), slot);
        put_map_entry_constants(entry, slot);
        MapEntry::Id::put(entry, expected_id(found, slot));
    }
    put_program_code(recording, map);
    return map;
}

/// Compares a record of the head and keeps the corrections.
void verify_head_record(Report& report, const Fault& record, std::span<const platform::Byte> found,
                        std::span<const platform::Byte> expected, std::span<const NamedField> fields) {
    std::ranges::move(compare_fields(report.faults, record, found, expected, fields),
                      std::back_inserter(report.corrections));
}

/// Checks the map entry of one slot: its stream id and its constants.
void verify_map_entry(std::uint32_t slot, MapEntry::View entry, MapEntry::View expected, Repair repair,
                      Report& report) {
    const std::uint64_t at =
        PackHeader::size + StreamMap::Entries::offset + std::uint64_t{slot} * MapEntry::size;
    const std::string name = fmt::format("map entry {}", slot);
    const Fault record{report.path, at, name, {}, repair};
    verify_head_record(report, record, entry, expected, kMapEntryFields);
    const std::uint8_t id = MapEntry::Id::get(entry);
    if (id == MapEntry::Id::get(expected)) return;
    Fault fault = record;
    fault.offset += MapEntry::Id::offset;
    fault.text = fmt::format("{}: stream id {:02X} does not belong to this slot", name, id);
    report.corrections.push_back({fault.offset, {MapEntry::Id::get(expected)}});
    report.faults.add(std::move(fault));
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

std::size_t wrong_map_fields(StreamMap::View found, StreamMap::View expected) {
    std::size_t wrong = different_fields(found, expected, kMapFields);
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        const auto is = map_entry(found, slot);
        const auto should = map_entry(expected, slot);
        wrong += different_fields(is, should, kMapEntryFields);
        if (MapEntry::Id::get(is) != MapEntry::Id::get(should)) ++wrong;
    }
    return wrong;
}

/// Checks pack header and map. False if the data file ends before the first packet.
bool verify_map(Recording& recording, Report& report) {
    const auto pack = recording.pack_header();
    const auto map = recording.stream_map();
    if (!pack || !map) {
        report.faults.add(report.in_data(recording.data_size(), "file ends before the first packet"));
        return false;
    }
    const StreamMap::Bytes expected = expected_map(recording, *map);
    report.map = parse_stream_map(expected);
    if (*pack == kPackHeader && *map == expected) return true;
    const std::size_t wrong = (*pack == kPackHeader ? 0U : 1U) + wrong_map_fields(*map, expected);
    const Repair repair = wrong <= kMaxWrongFields ? Repair::kByCorrecting : Repair::kNone;
    verify_head_record(report, {report.path, 0, "pack header", {}, repair}, *pack, kPackHeader, kPackFields);
    verify_head_record(report, {report.path, PackHeader::size, "map", {}, repair}, *map, expected,
                       kMapFields);
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        verify_map_entry(slot, map_entry(StreamMap::View(*map), slot),
                         map_entry(StreamMap::View(expected), slot), repair, report);
    }
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

Report verify_once(Recording& recording, VerifyDepth depth, const PacketVisitor& visit,
                   const Choices& choices) {
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
    if (readable) verify_packets(recording, depth, visit, choices, report);
    std::ranges::sort(report.corrections, {}, &Correction::offset);
    return report;
}

/// What is right for one packet, given the report that trusts the data: what leaves fewer faults or, if the
/// index does not tell because it was never completed, fewer spans and smaller steps from date to date.
Choice choice_for(Recording& recording, std::uint32_t number, const Report& data_trusted) {
    const auto oddities = [](const Report& report) {
        return std::tuple(report.faults.count(), report.spans(), report.date_steps);
    };
    const Report index_trusted = verify_once(recording, VerifyDepth::kHeaders, [](const Packet&) {},
                                             {.by_packet = {{number, Choice::kIndex}}});
    const auto index = oddities(index_trusted);
    const auto data = oddities(data_trusted);
    if (index == data) return Choice::kUndecided;
    return index < data ? Choice::kIndex : Choice::kData;
}

}  // namespace

std::optional<StreamMap::Bytes> corrected_map(Recording& recording) {
    const auto found = recording.stream_map();
    if (!found) return std::nullopt;
    const StreamMap::Bytes expected = expected_map(recording, *found);
    return wrong_map_fields(*found, expected) <= kMaxWrongFields ? std::optional(expected) : std::nullopt;
}

Report verify(Recording& recording, VerifyDepth depth, const PacketVisitor& visit, Trust trust) {
    Report report = verify_once(recording, depth, visit, {});
    if (report.contested.empty() || trust == Trust::kData) return report;
    Choices choices;
    if (trust == Trust::kIndex) {
        choices.others = Choice::kIndex;
    } else if (report.contested.size() > kMaxDecided) {
        choices.others = Choice::kUndecided;
    } else {
        for (const std::uint32_t number : report.contested)
            choices.by_packet[number] = choice_for(recording, number, report);
    }
    const auto by_choices = [&] {
        return verify_once(
            recording, depth, [](const Packet&) {}, choices);
    };
    report = by_choices();
    // If no reading has as few spans as a completed index, a packet and its entry are both wrong, unless lost
    // packets explain the spans.
    const bool complete = recording.completed() && report.frames >= recording.entries();
    if (trust == Trust::kIndex || !complete || report.spans() <= recording.spans()) return report;
    choices = {Choice::kUndecided, {}};
    return by_choices();
}

}  // namespace reader
