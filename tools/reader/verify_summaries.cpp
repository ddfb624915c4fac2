// What stands in the index once for many packets: the stream table, the spans, the counts of the header.

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "tools/reader/verify_steps.h"

namespace reader {
namespace {

constexpr std::size_t kReservedAt = 27;
constexpr std::array kRecordParts = {
    part<PsiStreamRecord::Packets>("number of packets"),
    part<PsiStreamRecord::FirstEntry>("first entry"),
    part<PsiStreamRecord::LastEntry>("last entry"),
    part<PsiStreamRecord::FirstDate>("first date"),
    part<PsiStreamRecord::LastDate>("last date"),
    part<PsiStreamRecord::FirstTime>("first time"),
    part<PsiStreamRecord::LastTime>("last time"),
    part<PsiStreamRecord::FirstIndexByte>("first index byte"),
    part<PsiStreamRecord::Kinds>("recording kinds"),
    part<PsiStreamRecord::SecondIndexByte>("second index byte"),
    NamedPart{"reserved", kReservedAt, PsiStreamRecord::size - kReservedAt},
};
constexpr std::array kHeaderParts = {
    part<PsiHeader::Entries>("number of entries"), part<PsiHeader::FirstDate>("first date"),
    part<PsiHeader::LastDate>("last date"),        part<PsiHeader::FirstTime>("first time"),
    part<PsiHeader::LastTime>("last time"),        part<PsiHeader::Spans>("number of spans"),
};
constexpr std::array kSpanParts = {
    part<PsiSpan::Slot>("slot"),
    part<PsiSpan::Kind>("recording kind"),
    part<PsiSpan::FirstDate>("first date"),
    part<PsiSpan::LastDate>("last date"),
    part<PsiSpan::FirstTime>("first time"),
    part<PsiSpan::LastTime>("last time"),
    NamedPart{"reserved", 2, 2},
};

Fault in_index(const Recording& recording, std::uint64_t at, std::string name) {
    return {recording.index_path(), at, std::move(name), {}, Repair::kByRebuilding};
}

/// The stream record that the packets call for.
PsiStreamRecord::Bytes expected_record(const SlotSum& sum) {
    PsiStreamRecord::Bytes record{};
    if (sum.packets == 0) return record;
    PsiStreamRecord::Packets::put(record, sum.packets);
    PsiStreamRecord::FirstEntry::put(record, sum.first_entry);
    PsiStreamRecord::LastEntry::put(record, sum.last_entry);
    PsiStreamRecord::FirstDate::put(record, sum.first.date);
    PsiStreamRecord::LastDate::put(record, sum.last.date);
    PsiStreamRecord::FirstTime::put(record, sum.first.milliseconds);
    PsiStreamRecord::LastTime::put(record, sum.last.milliseconds);
    PsiStreamRecord::Kinds::put(record, sum.kinds);
    return record;
}

void verify_record(Recording& recording, std::uint32_t slot, const SlotSum& sum, Report& report) {
    const auto record = recording.stream_record(slot);
    if (!record) return;  // the index ends before its entries: reported with its header
    compare_parts(
        report.faults,
        in_index(recording, Recording::stream_record_at(slot), fmt::format("stream record {}", slot)),
        *record, expected_record(sum), kRecordParts);
}

void verify_header_counts(Recording& recording, Report& report) {
    const auto header = recording.header();
    if (!header) return;
    PsiHeader::Bytes expected = *header;
    PsiHeader::Entries::put(expected, report.frames);
    PsiHeader::FirstDate::put(expected, report.first.date);
    PsiHeader::LastDate::put(expected, report.last.date);
    PsiHeader::FirstTime::put(expected, report.first.milliseconds);
    PsiHeader::LastTime::put(expected, report.last.milliseconds);
    PsiHeader::Spans::put(expected, static_cast<std::uint32_t>(report.spans()));
    compare_parts(report.faults, in_index(recording, 0, "header"), *header, expected, kHeaderParts);
}

PsiSpan::Bytes record_of(const Span& span) {
    PsiSpan::Bytes record{};
    PsiSpan::Slot::put(record, span.slot);
    PsiSpan::Kind::put(record, span.kind);
    PsiSpan::FirstDate::put(record, span.first.date);
    PsiSpan::LastDate::put(record, span.last.date);
    PsiSpan::FirstTime::put(record, span.first.milliseconds);
    PsiSpan::LastTime::put(record, span.last.milliseconds);
    return record;
}

void verify_spans(Recording& recording, Report& report) {
    for (std::uint32_t number = 0; number < report.spans(); ++number) {
        const auto found = recording.span_record(number);
        if (!found) return;  // too few of them: reported with the counts or the size
        compare_parts(report.faults,
                      in_index(recording, recording.span_at(number), fmt::format("span {}", number)), *found,
                      record_of(report.span_list.at(number)), kSpanParts);
    }
}

}  // namespace

void verify_summaries(Recording& recording, const SlotSums& sums, Report& report) {
    verify_header_counts(recording, report);
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        verify_record(recording, slot, sums.at(slot), report);
    }
    verify_spans(recording, report);
}

}  // namespace reader
