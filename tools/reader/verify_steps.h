#pragma once

// The steps of verify(). Each adds what it finds to the report.

#include <array>
#include <cstdint>
#include <optional>

#include "tools/reader/verify.h"

namespace reader {

/// What the stream map says about the packets to come.
struct MapFacts {
    std::array<std::uint8_t, kSlots> stream_ids{};
    std::uint8_t program = 0;  // PesHeader::Program of every packet
};

/// Packets of each slot, counted in file order.
using SlotCounts = std::array<std::uint32_t, kSlots>;

/// Pack header and map; nothing when the data file ends before the packets.
[[nodiscard]] std::optional<MapFacts> verify_map(Recording& recording, Report& report);

/// The index header's constants and counts. False when no entry can be looked at.
[[nodiscard]] bool verify_index_header(Recording& recording, Report& report);

/// Every entry against its packet, front to back; sizes and spans. Fills the report's figures.
[[nodiscard]] SlotCounts verify_packets(Recording& recording, const MapFacts& map, Report& report);

/// Every slot's chain of entries, forwards and backwards, and its stream record.
void verify_chains(Recording& recording, const SlotCounts& counts, Report& report);

}  // namespace reader
