#pragma once

// Records that the writer writes and that the verification of a recording expects.

#include <cstdint>

#include "ps/index_layout.h"
#include "ps/stream_layout.h"

/// Sets every field of the map that is the same in all files.
void put_map_constants(StreamMap::MutableView map) noexcept;

/// Sets every field of the index header that is the same in all files.
void put_index_constants(PsiHeader::MutableView header) noexcept;

/// What differs between packet headers, apart from the size of the previous packet.
struct PacketFields {
    std::uint8_t stream_id = 0;
    std::uint8_t flags = 0;    // PesHeader::Flags without kAlwaysSetFlags
    std::uint8_t program = 0;  // PesHeader::Program
    std::uint32_t size = 0;    // bytes
    std::uint32_t padding = 0;
    std::uint16_t date = 0;          // date16
    std::uint64_t milliseconds = 0;  // since midnight
};

/// A packet header whose PreviousSize is still 0.
[[nodiscard]] PesHeader::Bytes packet_header(const PacketFields& fields) noexcept;
