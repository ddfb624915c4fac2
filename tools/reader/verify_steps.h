#pragma once

// The steps of verify(). Each adds what it finds to the report.

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/reader/verify.h"

namespace reader {

/// A fault of the data file stays; one of the index goes away when it is made anew.
void add_data_fault(const Recording& recording, std::uint64_t at, std::string text, Report& report,
                    std::optional<std::uint32_t> number = {});
void add_index_fault(const Recording& recording, std::uint64_t at, std::string text, Report& report,
                     std::optional<std::uint32_t> number = {});

/// Pack header and map; false when the data file ends before the packets.
[[nodiscard]] bool verify_map(Recording& recording, Report& report);

/// The index file's presence, its header's constants, its size.
void verify_index_header(Recording& recording, Report& report);

/// Every packet and its entry, front to back; stream records, spans and counts at the end. Fills the report's
/// figures.
void verify_packets(Recording& recording, Depth depth, const PacketVisitor& visit, Report& report);

/// Start codes and types of the NAL units of one packet.
void verify_payload(Recording& recording, const Packet& packet, Report& report);

/// What the packets of one slot add up to.
struct SlotSum {
    std::uint32_t packets = 0;
    std::uint32_t first_entry = 0;
    std::uint32_t last_entry = kNoEntry;
    PacketTime first;
    PacketTime last;
    std::uint8_t kinds = 0;
    std::uint16_t key_distance = 0;  // wraps like the field
    std::uint32_t found_next = 0;    // what the last entry says about the one behind it
};
using SlotSums = std::array<SlotSum, kSlots>;

/// The summaries: stream table, spans, counts of the header.
void verify_summaries(Recording& recording, const SlotSums& sums, Report& report);

}  // namespace reader
