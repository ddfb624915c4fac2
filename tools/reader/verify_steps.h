#pragma once

// The steps of verify(). Each adds its findings to the report.

#include <array>
#include <cstdint>
#include <map>
#include <optional>

#include "tools/reader/verify.h"

namespace reader {

/// What is right for one contested packet.
enum class Choice { kData, kIndex, kUndecided };

/// The choice for contested packets by their number, and for all others.
struct Choices {
    Choice others = Choice::kData;
    std::map<std::uint32_t, Choice> by_packet;

    [[nodiscard]] Choice of(std::uint32_t number) const {
        const auto found = by_packet.find(number);
        return found == by_packet.end() ? others : found->second;
    }
};

/// Checks every packet and its entry in file order, then stream records, spans and counts. Sets the figures
/// of the report.
void verify_packets(Recording& recording, VerifyDepth depth, const PacketVisitor& visit,
                    const Choices& choices, Report& report);

/// Summary of the packets of one slot.
struct SlotSummary {
    std::uint32_t packets = 0;
    std::uint32_t first_entry = 0;
    std::uint32_t last_entry = kNoEntry;
    PacketTime first;
    PacketTime last;
    std::uint8_t kinds = 0;
    std::uint16_t key_distance = 0;  // wraps like the field
    std::uint32_t found_next = 0;    // the Next field of the last entry
    std::optional<Span> span;        // the current one
};
using SlotSummaries = std::array<SlotSummary, kSlots>;

/// Checks stream table, spans and the counts in the header.
void verify_summaries(Recording& recording, const SlotSummaries& slots, Report& report);

/// The fields of the index header. The two steps expect different values only in different fields.
inline constexpr std::array kHeaderFields = {
    field<PsiHeader::Version>("version"),
    field<PsiHeader::HeaderSize>("header size"),
    field<PsiHeader::StreamRecords>("number of stream records"),
    field<PsiHeader::EntrySize>("entry size"),
    field<PsiHeader::StreamRecordSize>("stream record size"),
    field<PsiHeader::Entries>("number of entries"),
    field<PsiHeader::FirstDate>("first date"),
    field<PsiHeader::LastDate>("last date"),
    field<PsiHeader::FirstTime>("first time"),
    field<PsiHeader::LastTime>("last time"),
    field<PsiHeader::SpanSize>("span size"),
    field<PsiHeader::Spans>("number of spans"),
    field<PsiHeader::Reserved>("reserved"),
};

}  // namespace reader
