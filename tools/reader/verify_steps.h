#pragma once

// The steps of verify(). Each adds its findings to the report.

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/reader/verify.h"

namespace reader {

/// Faults of the data file cannot be repaired; faults of the index can.
void add_data_fault(const Recording& recording, std::uint64_t at, std::string text, Report& report,
                    std::optional<std::uint32_t> number = {});
void add_index_fault(const Recording& recording, std::uint64_t at, std::string text, Report& report,
                     std::optional<std::uint32_t> number = {});

/// Checks pack header and map. False if the data file ends before the first packet.
[[nodiscard]] bool verify_map(Recording& recording, Report& report);

/// Checks that the index file exists, the constants in its header, and its size.
void verify_index_header(Recording& recording, Report& report);

/// Checks every packet and its entry in file order, then stream records, spans and counts. Sets the figures
/// of the report.
void verify_packets(Recording& recording, VerifyDepth depth, const PacketVisitor& visit, Report& report);

/// Checks start codes and types of the NAL units in one packet.
void verify_payload(Recording& recording, const Packet& packet, Report& report);

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
};
using SlotSummaries = std::array<SlotSummary, kSlots>;

/// Checks stream table, spans and the counts in the header.
void verify_summaries(Recording& recording, const SlotSummaries& slots, Report& report);

}  // namespace reader
