#pragma once

// Packets, as described by the data file alone.

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>

#include "ps/stream_layout.h"
#include "tools/reader/recording.h"

namespace reader {

/// The stream map's description of one slot.
struct MapStream {
    std::uint8_t type = 0;
    std::uint8_t id = 0;
    std::uint32_t width = 0;   // pixels, a multiple of kMapPixels; video only
    std::uint32_t height = 0;  // pixels, a multiple of kMapPixels; video only
    std::string name;
};

/// The contents of the stream map.
struct StreamMapInfo {
    std::array<MapStream, kSlots> streams;
    std::uint8_t program_code = 0;  // two of its bits are in every packet
};

/// The map's entry of one slot.
[[nodiscard]] inline MapEntry::View map_entry(StreamMap::View map, std::uint32_t slot) {
    return StreamMap::Entries::of(map).subspan(std::size_t{slot} * MapEntry::size).first<MapEntry::size>();
}
[[nodiscard]] inline MapEntry::MutableView map_entry(StreamMap::MutableView map, std::uint32_t slot) {
    return StreamMap::Entries::of(map).subspan(std::size_t{slot} * MapEntry::size).first<MapEntry::size>();
}

/// Sets every field of a map entry that is the same in all files, except the stream id.
void put_map_entry_constants(MapEntry::MutableView entry, std::uint32_t slot);

[[nodiscard]] StreamMapInfo parse_stream_map(const StreamMap::Bytes& map);

struct Packet {
    std::uint32_t number = 0;
    std::uint64_t offset = 0;  // in the data file
    std::uint32_t size = 0;    // bytes, including header and padding
    std::uint8_t stream_id = 0;
    std::uint8_t slot = 0;
    std::uint8_t flags = 0;
    std::uint8_t padding = 0;  // bytes
    PacketTime time;
    bool begins_span = false;  // set by verify(), which knows the packets before it

    bool operator==(const Packet&) const = default;
    [[nodiscard]] std::uint64_t end() const { return offset + size; }
    [[nodiscard]] std::uint8_t picture_type() const { return flags & kPictureTypeBits; }
    [[nodiscard]] std::uint8_t kind() const { return flags & kRecordingKindBits; }
    [[nodiscard]] bool is_key() const { return picture_type() == kKeyFrame; }
    [[nodiscard]] std::uint32_t payload() const {
        return size - static_cast<std::uint32_t>(PesHeader::size) - padding;
    }
};

/// Reads a packet header without checking it.
[[nodiscard]] Packet parse_packet(const PesHeader::Bytes& header, std::uint32_t number, std::uint64_t offset);

/// The header that such a packet must have after a packet of `previous_size` bytes.
[[nodiscard]] PesHeader::Bytes expected_header(const Packet& packet, const StreamMapInfo& map,
                                               std::uint32_t previous_size);

/// True if a packet can have this size.
[[nodiscard]] constexpr bool possible_size(std::uint32_t size) {
    return size >= PesHeader::size && (size & ~kPacketSizeBits) == 0;
}

/// Checks the values that the layout does not determine: size, padding, picture type, time.
[[nodiscard]] bool is_plausible(const Packet& packet);

/// True if the start code is that of a packet and the stream id is in the map.
[[nodiscard]] bool begins_packet(const PesHeader::Bytes& header, const StreamMapInfo& map);

/// True if the header is valid regardless of the packets around it.
[[nodiscard]] bool is_header(const PesHeader::Bytes& bytes, const StreamMapInfo& map);

using HeaderCheck = std::function<bool(const PesHeader::Bytes& header, std::uint64_t offset)>;

/// Offset of the first packet header at or after `from` that is valid regardless of the packets around it,
/// and passes the check. Searches byte by byte up to the end of the file, or before `to`.
[[nodiscard]] std::optional<std::uint64_t> find_packet(
    Recording& recording, const StreamMapInfo& map, std::uint64_t from,
    std::uint64_t to = std::numeric_limits<std::uint64_t>::max(),
    const HeaderCheck& check = [](const PesHeader::Bytes&, std::uint64_t) { return true; });

/// True at the end of the file, and if a packet begins there that repeats the size of the one before.
[[nodiscard]] bool is_size_repeated_at(Recording& recording, const StreamMapInfo& map, std::uint64_t position,
                                       std::uint32_t size);

/// Offset of a packet that begins before the end of the given one although it follows it: bytes of the given
/// one are missing. Other headers in a payload neither repeat that size nor have a packet or the end of the
/// file after them.
[[nodiscard]] std::optional<std::uint64_t> find_packet_within(Recording& recording, const StreamMapInfo& map,
                                                              const Packet& packet);

}  // namespace reader
