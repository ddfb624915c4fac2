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

/// The result of a verification. The figures come from the data file, as far as it could be read; see the
/// faults for how reliable they are.
struct Report {
    std::string path;
    StreamMapInfo map;
    PacketTime first;
    PacketTime last;
    std::uint32_t frames = 0;
    std::uint32_t key_frames = 0;
    std::array<std::uint32_t, kSlots> packets{};  // per slot
    std::vector<Span> span_list;                  // in the order they ended
    std::uint64_t padding = 0;                    // bytes, of all packets
    std::uint64_t data_size = 0;                  // bytes
    std::uint64_t index_size = 0;                 // bytes
    std::uint64_t whole_end = 0;                  // end of the last complete packet; 0 without a readable map
    std::vector<Correction> corrections;          // of the faults with Repair::kByCorrecting, by offset
    std::uint64_t date_steps = 0;                 // sum of the differences between the date16 of neighbours
    std::vector<std::uint32_t> contested;         // packets that contradict an otherwise right index entry
    bool undecided = false;                       // for one of them, no evidence tells what is right
    FaultList faults;

    [[nodiscard]] std::size_t spans() const { return span_list.size(); }
    [[nodiscard]] bool verified() const { return faults.count() == 0; }

    /// True if a new index, the corrections, and cutting the data file after the last complete packet remove
    /// all faults.
    [[nodiscard]] bool repairable() const { return !verified() && faults.unrepairable() == 0; }
    /// A single fault is repaired only if the whole recording can be.
    [[nodiscard]] bool repairs(const Fault& fault) const {
        return faults.unrepairable() == 0 && fault.repair != Repair::kNone;
    }

    /// Faults of the data file cannot be repaired unless the right bytes are known; faults of the index can.
    [[nodiscard]] Fault in_data(std::uint64_t at, std::string text,
                                std::optional<std::uint32_t> number = {}) const {
        return {path, at, std::move(text), number};
    }
    [[nodiscard]] Fault in_index(std::uint64_t at, std::string text,
                                 std::optional<std::uint32_t> number = {}) const {
        return {path + "i", at, std::move(text), number, Repair::kByRebuilding};
    }
};

enum class VerifyDepth { kHeaders, kPayloads };

/// What is right if a packet and its index entry contradict each other and both are possible: whichever
/// leaves fewer faults in the whole recording, or always the same one.
enum class Trust { kEvidence, kData, kIndex };

/// Receives every complete packet in file order, as the data file has it: a packet is not corrected from a
/// contradicting index entry.
using PacketVisitor = std::function<void(const Packet&)>;

/// Checks both files of a recording: reads the data file packet by packet, computes the expected index and
/// compares it with the index file. Reads all packet headers, all padding and the whole index. Reads payloads
/// only with VerifyDepth::kPayloads, or to find the next packet after damage. Memory use depends on the
/// number of spans, not on the number of packets.
[[nodiscard]] Report verify(
    Recording& recording, VerifyDepth depth = VerifyDepth::kHeaders,
    const PacketVisitor& visit = [](const Packet&) {}, Trust trust = Trust::kEvidence);

/// The map with the values that are known. Nothing if the file has none or if too many fields are wrong.
[[nodiscard]] std::optional<StreamMap::Bytes> corrected_map(Recording& recording);

/// The complete index for the corrected packets up to the last complete one. Passes the packets' headers to
/// the module's own writer. The report must be verified() or repairable(). Throws std::runtime_error if the
/// data file has changed since then.
[[nodiscard]] std::string rebuilt_index(Recording& recording, const Report& report);

}  // namespace reader
