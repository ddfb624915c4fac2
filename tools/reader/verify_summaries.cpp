// Checks the parts of the index that summarize many packets: stream table, spans, counts in the header.

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "tools/reader/verify_steps.h"

namespace reader {
namespace {

constexpr std::array kRecordFields = {
    field<PsiStreamRecord::Packets>("number of packets"),
    field<PsiStreamRecord::FirstEntry>("first entry"),
    field<PsiStreamRecord::LastEntry>("last entry"),
    field<PsiStreamRecord::FirstDate>("first date"),
    field<PsiStreamRecord::LastDate>("last date"),
    field<PsiStreamRecord::FirstTime>("first time"),
    field<PsiStreamRecord::LastTime>("last time"),
    field<PsiStreamRecord::FirstIndexByte>("first index byte"),
    field<PsiStreamRecord::Kinds>("recording kinds"),
    field<PsiStreamRecord::SecondIndexByte>("second index byte"),
    field<PsiStreamRecord::Reserved>("reserved"),
};
constexpr std::array kSpanFields = {
    field<PsiSpan::Slot>("slot"),
    field<PsiSpan::Kind>("recording kind"),
    field<PsiSpan::FirstDate>("first date"),
    field<PsiSpan::LastDate>("last date"),
    field<PsiSpan::FirstTime>("first time"),
    field<PsiSpan::LastTime>("last time"),
    field<PsiSpan::Reserved>("reserved"),
};

/// Sets the times of a PsiHeader, PsiStreamRecord or PsiSpan.
template <typename Layout>
void put_times(typename Layout::Bytes& record, const PacketTime& first, const PacketTime& last) {
    put_first_time<Layout>(record, first.date, first.milliseconds);
    put_last_time<Layout>(record, last.date, last.milliseconds);
}

/// The stream record that matches the packets.
PsiStreamRecord::Bytes expected_record(const SlotSummary& sum) {
    PsiStreamRecord::Bytes record{};
    if (sum.packets == 0) return record;
    PsiStreamRecord::Packets::put(record, sum.packets);
    PsiStreamRecord::FirstEntry::put(record, sum.first_entry);
    PsiStreamRecord::LastEntry::put(record, sum.last_entry);
    put_times<PsiStreamRecord>(record, sum.first, sum.last);
    PsiStreamRecord::Kinds::put(record, sum.kinds);
    return record;
}

void verify_record(Recording& recording, std::uint32_t slot, const SlotSummary& sum, Report& report) {
    const auto record = recording.stream_record(slot);
    if (!record) return;  // the index ends before the entries, which verify_index_header reports
    compare_fields(report.faults,
                   report.in_index(stream_record_at(slot), fmt::format("stream record {}", slot)), *record,
                   expected_record(sum), kRecordFields);
}

void verify_header_counts(Recording& recording, Report& report) {
    const auto header = recording.header();
    if (!header) return;
    PsiHeader::Bytes expected = *header;
    PsiHeader::Entries::put(expected, report.frames);
    put_times<PsiHeader>(expected, report.first, report.last);
    PsiHeader::Spans::put(expected, static_cast<std::uint32_t>(report.spans()));
    compare_fields(report.faults, report.in_index(0, "header"), *header, expected, kHeaderFields);
}

PsiSpan::Bytes record_of(const Span& span) {
    PsiSpan::Bytes record{};
    PsiSpan::Slot::put(record, span.slot);
    PsiSpan::Kind::put(record, span.kind);
    put_times<PsiSpan>(record, span.first, span.last);
    return record;
}

void verify_spans(Recording& recording, Report& report) {
    for (std::uint32_t number = 0; number < report.spans(); ++number) {
        const auto found = recording.span_record(number);
        if (!found) return;  // too few spans, which the count and the file size report
        compare_fields(report.faults,
                       report.in_index(recording.span_at(number), fmt::format("span {}", number)), *found,
                       record_of(report.span_list.at(number)), kSpanFields);
    }
}

}  // namespace

void verify_summaries(Recording& recording, const SlotSummaries& slots, Report& report) {
    verify_header_counts(recording, report);
    for (std::uint32_t slot = 0; slot < kSlots; ++slot) {
        verify_record(recording, slot, slots.at(slot), report);
    }
    verify_spans(recording, report);
}

}  // namespace reader
