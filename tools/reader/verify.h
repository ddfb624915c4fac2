#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/reader/faults.h"
#include "tools/reader/packet.h"
#include "tools/reader/recording.h"

namespace reader {

/// A recording read back. Figures are those of the data file as far as it could be followed; the faults say
/// how far to trust them.
struct Report {
    std::string path;
    MapFacts map;
    PacketTime first;
    PacketTime last;
    std::uint32_t frames = 0;
    std::uint32_t key_frames = 0;
    std::array<std::uint32_t, kSlots> packets{};  // of each slot
    std::vector<Span> span_list;                  // in the order in which they end
    std::uint64_t padding = 0;                    // bytes of the packets that are padding
    std::uint64_t data_size = 0;                  // bytes
    std::uint64_t index_size = 0;                 // bytes
    std::uint64_t whole_end = 0;  // where the last whole packet ends; 0 without a readable map
    FaultList faults;

    [[nodiscard]] std::size_t spans() const { return span_list.size(); }
    [[nodiscard]] bool verified() const { return faults.count() == 0; }

    /// Whether all that is wrong goes away with a new index and without what stands behind the last whole
    /// packet.
    [[nodiscard]] bool mendable() const { return !verified() && faults.lasting() == 0; }
    /// One fault goes away only if the data file allows to rebuild anything at all.
    [[nodiscard]] bool mends(const Fault& fault) const {
        return faults.lasting() == 0 && fault.mending == Repair::kByRebuilding;
    }
};

enum class Depth { kHeaders, kPayloads };

/// Told every whole packet, in file order.
using PacketVisitor = std::function<void(const Packet&)>;

/// Checks both files of a recording completely against each other: walks the data file from packet to packet
/// and derives from it what the index has to hold. Reads every packet header, all padding and the whole
/// index; payloads are looked at with Depth::kPayloads alone, and behind damage, for the next packet. Memory
/// grows with the spans, not with the packets.
[[nodiscard]] Report verify(
    Recording& recording, Depth depth = Depth::kHeaders, const PacketVisitor& visit = [](const Packet&) {});

}  // namespace reader
