#pragma once

// Packets as the data file alone describes them.

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "ps/stream_layout.h"
#include "tools/reader/recording.h"

namespace reader {

/// What the stream map says of one slot.
struct MapStream {
    std::uint8_t type = 0;
    std::uint8_t id = 0;
    std::uint32_t width = 0;   // pixels, whole macroblocks; of video only
    std::uint32_t height = 0;  // likewise
    std::string name;
};

/// What the stream map says about the packets to come.
struct MapFacts {
    std::array<MapStream, kSlots> streams;
    std::uint8_t program_code = 0;  // two bits of it are in every packet
};

[[nodiscard]] MapFacts facts_of(const StreamMap::Bytes& map);

/// PesHeader::Program of every packet.
[[nodiscard]] constexpr std::uint8_t program_byte(const MapFacts& map) {
    return static_cast<std::uint8_t>(0xC0U | (map.program_code & 3U) << 4U);
}

struct Packet {
    std::uint32_t number = 0;
    std::uint64_t at = 0;    // offset in the data file
    std::uint32_t size = 0;  // bytes, with header and padding
    std::uint8_t stream_id = 0;
    std::uint8_t slot = 0;
    std::uint8_t flags = 0;
    std::uint8_t padding = 0;  // bytes
    PacketTime moment;

    [[nodiscard]] std::uint64_t end() const { return at + size; }
    [[nodiscard]] std::uint8_t picture_type() const { return flags & kPictureTypeBits; }
    [[nodiscard]] std::uint8_t kind() const { return flags & kRecordingKindBits; }
    [[nodiscard]] bool is_key() const { return picture_type() == kKeyFrame; }
    [[nodiscard]] std::uint32_t payload() const {
        return size - static_cast<std::uint32_t>(PesHeader::size) - padding;
    }
};

/// The packet that a header describes. Nothing of it is checked.
[[nodiscard]] Packet packet_of(const PesHeader::Bytes& header, std::uint32_t number, std::uint64_t at);

/// The header that such a packet has behind one of that size.
[[nodiscard]] PesHeader::Bytes header_of(const Packet& packet, const MapFacts& map,
                                         std::uint32_t previous_size);

/// Whether a packet can have that size.
[[nodiscard]] constexpr bool possible_size(std::uint32_t size) {
    return size >= PesHeader::size && (size & ~kPacketSizeBits) == 0;
}

/// The values that no layout fixes: size, padding, picture type, time.
[[nodiscard]] bool is_plausible(const Packet& packet);

/// Whether start code and stream id are those of a packet.
[[nodiscard]] bool begins_packet(const PesHeader::Bytes& header, const MapFacts& map);

/// Offset of the first header from `from` on of which all that does not depend on its neighbours is right.
/// Looks at every byte up to the end of the file.
[[nodiscard]] std::optional<std::uint64_t> find_packet(Recording& recording, const MapFacts& map,
                                                       std::uint64_t from);

}  // namespace reader
