#pragma once

// Layout of the index file: header, stream table, one entry per packet, then the spans. All integers are
// little-endian. docs/recording-format.md shows the same tables and gives the reasons.

#include <cstdint>

#include "platform/bytes.h"
#include "ps/stream_layout.h"

template <std::size_t Size>
using IndexRecordLayout = platform::Record<Size, std::endian::little>;

/// At offset 0. The counts and the first and last times are final only after ps_close.
struct PsiHeader : IndexRecordLayout<64> {
    using Version = Field<std::uint32_t, 0>;
    using HeaderSize = Field<std::uint32_t, 4>;
    using StreamRecords = Field<std::uint32_t, 8>;
    using EntrySize = Field<std::uint32_t, 12>;
    using StreamRecordSize = Field<std::uint32_t, 16>;
    using Entries = Field<std::uint32_t, 20>;
    using FirstDate = Field<std::uint16_t, 24>;  // date16
    using LastDate = Field<std::uint16_t, 26>;
    using FirstTime = Field<std::uint32_t, 28>;  // ms since midnight
    using LastTime = Field<std::uint32_t, 32>;
    using SpanSize = Field<std::uint32_t, 36>;
    using Spans = Field<std::uint32_t, 40>;
    using Reserved = Block<20, 44>;
};
inline constexpr std::uint32_t kIndexVersion = 1;

/// The summary of one slot, at stream_record_at(slot).
struct PsiStreamRecord : IndexRecordLayout<32> {
    using Packets = Field<std::uint32_t, 0>;
    using FirstEntry = Field<std::uint32_t, 4>;
    using LastEntry = Field<std::uint32_t, 8>;
    using FirstDate = Field<std::uint16_t, 12>;
    using LastDate = Field<std::uint16_t, 14>;
    using FirstTime = Field<std::uint32_t, 16>;
    using LastTime = Field<std::uint32_t, 20>;
    using FirstIndexByte = Field<std::uint8_t, 24>;
    using Kinds = Field<std::uint8_t, 25>;  // the recording kind bits of all packets
    using SecondIndexByte = Field<std::uint8_t, 26>;
    using Reserved = Block<5, 27>;
};

/// The entry of one packet, at entry_at(number).
struct PsiFrameEntry : IndexRecordLayout<32> {
    using Slot = Field<std::uint8_t, 0>;
    using Reserved1 = Block<1, 1>;
    using Flags = Field<std::uint8_t, 2>;       // PesHeader::Flags
    using Program = Field<std::uint8_t, 3>;     // PesHeader::Program
    using SizeUnits = Field<std::uint16_t, 4>;  // packet size / 32, low 16 bits
    using Date = Field<std::uint16_t, 6>;       // date16
    using TimeOfDay = Field<std::uint32_t, 8>;  // ms since midnight
    using Position = Field<std::uint32_t, 12>;  // (packet offset - kPacketsAt) / 32
    using Previous = Field<std::uint32_t, 16>;  // entry of the same slot, or kNoEntry
    using Next = Field<std::uint32_t, 20>;
    using KeyDistance = Field<std::uint16_t, 24>;  // packets since the slot's last key frame
    using SizeHigh = Field<std::uint8_t, 26>;      // packet size / 32, bit 16
    using Reserved27 = Block<5, 27>;
};
inline constexpr std::uint32_t kNoEntry = 0xFFFFFFFF;

/// Consecutive packets of one slot, one recording kind and one date, without a gap longer than kSpanGap.
struct PsiSpan : IndexRecordLayout<16> {
    using Slot = Field<std::uint8_t, 0>;
    using Kind = Field<std::uint8_t, 1>;
    using Reserved = Block<2, 2>;
    using FirstDate = Field<std::uint16_t, 4>;  // 0 in a span that is not open
    using LastDate = Field<std::uint16_t, 6>;
    using FirstTime = Field<std::uint32_t, 8>;
    using LastTime = Field<std::uint32_t, 12>;
};
inline constexpr std::uint32_t kSpanGap = 1000;  // ms

inline constexpr std::uint64_t kStreamTableAt = PsiHeader::size;
inline constexpr std::uint64_t kEntriesAt = kStreamTableAt + std::uint64_t{kSlots} * PsiStreamRecord::size;
static_assert(kEntriesAt == 1088);
static_assert(PsiHeader::Spans::offset == 40 && PsiStreamRecord::SecondIndexByte::offset == 26);
static_assert(PsiFrameEntry::SizeHigh::offset == 26);
static_assert(PsiSpan::LastTime::offset + PsiSpan::LastTime::width == PsiSpan::size);

[[nodiscard]] constexpr std::uint64_t stream_record_at(std::uint32_t slot) noexcept {
    return kStreamTableAt + std::uint64_t{slot} * PsiStreamRecord::size;
}
[[nodiscard]] constexpr std::uint64_t entry_at(std::uint32_t number) noexcept {
    return kEntriesAt + std::uint64_t{number} * PsiFrameEntry::size;
}

/// Sets the first or the last time of a PsiHeader, PsiStreamRecord or PsiSpan.
template <typename Layout>
void put_first_time(typename Layout::Bytes& record, std::uint16_t date, std::uint32_t time_of_day) noexcept {
    Layout::FirstDate::put(record, date);
    Layout::FirstTime::put(record, time_of_day);
}
template <typename Layout>
void put_last_time(typename Layout::Bytes& record, std::uint16_t date, std::uint32_t time_of_day) noexcept {
    Layout::LastDate::put(record, date);
    Layout::LastTime::put(record, time_of_day);
}
