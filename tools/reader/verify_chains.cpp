// The entries of one slot are linked in both directions, from the stream record's first entry to its last.

#include <array>

#include <fmt/format.h>

#include "tools/reader/verify_steps.h"

namespace reader {
namespace {

/// Where a chain led.
struct Chain {
    std::uint32_t length = 0;
    std::uint32_t last = kNoEntry;
    Moment first_moment;
    Moment last_moment;
    std::uint8_t kinds = 0;
};

constexpr std::size_t kReservedAt = 27;
constexpr std::array kRecordParts = {
    part<PsiStreamRecord::Packets>("number of packets"),
    part<PsiStreamRecord::FirstEntry>("first entry"),
    part<PsiStreamRecord::LastEntry>("last entry"),
    part<PsiStreamRecord::FirstDate>("first date"),
    part<PsiStreamRecord::LastDate>("last date"),
    part<PsiStreamRecord::FirstTime>("first time"),
    part<PsiStreamRecord::LastTime>("last time"),
    part<PsiStreamRecord::Kinds>("recording kinds"),
    NamedPart{"reserved", kReservedAt, PsiStreamRecord::size - kReservedAt},
};
constexpr std::array kHeaderEnds = {
    part<PsiHeader::FirstDate>("first date"),
    part<PsiHeader::LastDate>("last date"),
    part<PsiHeader::FirstTime>("first time"),
    part<PsiHeader::LastTime>("last time"),
};

/// Follows the links from an entry. They have to lead forwards, so that the walk ends whatever the file says.
Chain walk(Recording& recording, std::uint32_t slot, std::uint32_t from, Report& report) {
    Chain chain;
    for (std::uint32_t number = from; number != kNoEntry;) {
        const auto entry = recording.entry(number);
        const auto fault = [&](std::size_t field_at, std::string_view text) {
            report.faults.add(recording.index_path(), Recording::entry_at(number) + field_at,
                              fmt::format("entry {}: {}", number, text));
        };
        if (!entry || (chain.last != kNoEntry && number <= chain.last)) {
            const std::uint64_t link_at =
                chain.last == kNoEntry ? Recording::stream_record_at(slot) : Recording::entry_at(chain.last);
            report.faults.add(recording.index_path(), link_at,
                              fmt::format("chain of slot {} leads to entry {}", slot, number));
            return chain;
        }
        if (entry->slot != slot) {
            fault(PsiFrameEntry::Slot::offset, fmt::format("stands in the chain of slot {}", slot));
            return chain;
        }
        if (entry->previous != chain.last) {
            fault(PsiFrameEntry::Previous::offset,
                  fmt::format("linked back to {:d}, not {:d}", static_cast<std::int32_t>(entry->previous),
                              static_cast<std::int32_t>(chain.last)));
        }
        if (chain.length++ == 0) chain.first_moment = entry->moment;
        chain.last_moment = entry->moment;
        chain.kinds |= entry->kind();
        chain.last = number;
        number = entry->next;
    }
    return chain;
}

/// The stream record that the chain calls for; the two index bytes are anybody's.
PsiStreamRecord::Bytes expected_record(const PsiStreamRecord::Bytes& found, const Chain& chain) {
    PsiStreamRecord::Bytes record{};
    if (chain.length > 0) {
        PsiStreamRecord::Packets::put(record, chain.length);
        PsiStreamRecord::FirstEntry::put(record, PsiStreamRecord::FirstEntry::get(found));
        PsiStreamRecord::LastEntry::put(record, chain.last);
        PsiStreamRecord::FirstDate::put(record, chain.first_moment.date);
        PsiStreamRecord::LastDate::put(record, chain.last_moment.date);
        PsiStreamRecord::FirstTime::put(record, chain.first_moment.milliseconds);
        PsiStreamRecord::LastTime::put(record, chain.last_moment.milliseconds);
        PsiStreamRecord::Kinds::put(record, chain.kinds);
    }
    return record;
}

void verify_slot(Recording& recording, std::uint32_t slot, std::uint32_t packets, Report& report) {
    const auto record = recording.stream_record(slot);
    if (!record) return;  // the index ends before its entries: reported with the header
    Chain chain;
    if (packets > 0) chain = walk(recording, slot, PsiStreamRecord::FirstEntry::get(*record), report);
    if (chain.length != packets) {
        report.faults.add(recording.index_path(), Recording::stream_record_at(slot),
                          fmt::format("chain of slot {} has {} entries of {}", slot, chain.length, packets));
    }
    compare_parts(report.faults, recording.index_path(), Recording::stream_record_at(slot),
                  fmt::format("stream record {}", slot), *record, expected_record(*record, chain),
                  kRecordParts);
}

void verify_header_ends(Recording& recording, Report& report) {
    const auto header = recording.header();
    if (!header) return;
    PsiHeader::Bytes expected = *header;
    PsiHeader::FirstDate::put(expected, report.first.date);
    PsiHeader::LastDate::put(expected, report.last.date);
    PsiHeader::FirstTime::put(expected, report.first.milliseconds);
    PsiHeader::LastTime::put(expected, report.last.milliseconds);
    compare_parts(report.faults, recording.index_path(), 0, "header", *header, expected, kHeaderEnds);
}

}  // namespace

void verify_chains(Recording& recording, const SlotCounts& counts, Report& report) {
    verify_header_ends(recording, report);
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) verify_slot(recording, slot, counts.at(slot), report);
}

}  // namespace reader
