#pragma once

// Layout of the data file: one pack header, one program stream map, then PES packets back to back. The syntax
// is that of ISO/IEC 13818-1 (2.5.3.3 pack, 2.5.4 map, 2.4.3.6 PES packet); all integers are big-endian.
// docs/recording-format.md shows the same tables with the reasons.

#include <cstdint>

#include "platform/bytes.h"

template <std::size_t Size>
using StreamRecordLayout = platform::Record<Size, std::endian::big>;

/// Writer slots: one per elementary stream of the map. 0 to 15 are video, 16 to 31 audio.
inline constexpr std::uint32_t kSlots = 32;

/// Packets are padded to this many bytes, so that the index counts positions and sizes in these units.
inline constexpr std::uint32_t kPacketUnit = 32;

/// Packet sizes are multiples of kPacketUnit below 4 MiB: every other bit of a size must be clear.
inline constexpr std::uint32_t kPacketSizeBits = 0x003FFFE0;

/// ISO/IEC 13818-1, 2.5.3.3. The same 16 bytes in every file.
struct PackHeader : StreamRecordLayout<16> {
    using StartCode = Field<std::uint32_t, 0>;
    using ClockReference = Block<6, 4>;  // base and extension 0 with the marker bits
    using MuxRate = Block<3, 10>;        // 0, then the two marker bits
    using StuffingLength = Field<std::uint8_t, 13>;
    using Stuffing = Block<2, 14>;
};
inline constexpr PackHeader::Bytes kPackHeader = {0x00, 0x00, 0x01, 0xBA, 0x44, 0x00, 0x04, 0x00,
                                                  0x04, 0x01, 0x00, 0x00, 0x03, 0xFA, 0xFF, 0xFF};

/// The descriptors of the map's program info (all private).
struct ProgramInfo : StreamRecordLayout<94> {
    using Filler = Block<8, 0>;  // FF
    using Code = Block<4, 8>;
    using Further = Block<16, 12>;
    using Name = Block<32, 28>;
    using Word60 = Field<std::uint8_t, 60>;  // kProgramInfoByte60
};
inline constexpr std::uint8_t kProgramInfoByte60 = 0x02;

/// One elementary stream of the map.
struct MapEntry : StreamRecordLayout<58> {
    using Type = Field<std::uint8_t, 0>;
    using Id = Field<std::uint8_t, 1>;
    using InfoLength = Field<std::uint16_t, 2>;
    using Width = Field<std::uint8_t, 4>;    // video: in 16-pixel units
    using Height = Field<std::uint8_t, 5>;   // video: in 16-pixel units
    using Filler = Field<std::uint16_t, 6>;  // video: FF FF
    using ValueA = Field<std::uint16_t, 4>;  // audio
    using ValueB = Field<std::uint16_t, 6>;  // audio
    using Name = Block<32, 26>;
};

/// ISO/IEC 13818-1, 2.5.4.1, without the CRC_32 that the standard puts behind the entries.
struct StreamMap : StreamRecordLayout<1962> {
    using StartCode = Field<std::uint32_t, 0>;
    using Length = Field<std::uint16_t, 4>;  // of what follows this field
    using Version = Field<std::uint8_t, 6>;
    using Marker = Field<std::uint8_t, 7>;
    using InfoLength = Field<std::uint16_t, 8>;
    using Info = Block<ProgramInfo::size, 10>;
    using EntriesLength = Field<std::uint16_t, 104>;
    using Entries = Block<std::size_t{kSlots} * MapEntry::size, 106>;
};
inline constexpr std::uint32_t kMapStartCode = 0x000001BC;
inline constexpr std::uint8_t kMapVersion = 0xE2;  // current, reserved bits set, version 2
inline constexpr std::uint8_t kMapMarker = 0xFF;
static_assert(StreamMap::Info::offset + StreamMap::Info::width == StreamMap::EntriesLength::offset);
static_assert(StreamMap::Entries::offset + StreamMap::Entries::width == StreamMap::size);

/// The first packet begins here.
inline constexpr std::uint64_t kPacketsAt = PackHeader::size + StreamMap::size;
static_assert(kPacketsAt == 1978);

/// ISO/IEC 13818-1, 2.4.3.6: the header with both time stamps and an 11-byte extension field of our own.
struct PesHeader : StreamRecordLayout<32> {
    using StartCode = Block<3, 0>;
    using StreamId = Field<std::uint8_t, 3>;
    using Length = Field<std::uint16_t, 4>;  // packet size - 6, low 16 bits; see "Wrapped length" there
    using Marker = Field<std::uint8_t, 6>;
    using Contents = Field<std::uint8_t, 7>;    // PTS and DTS, extension
    using DataLength = Field<std::uint8_t, 8>;  // header bytes behind this field
    using PresentationTime = Block<5, 9>;       // 33 bits of 90 kHz ticks since midnight
    using DecodingTime = Block<5, 14>;          // the same value
    using ExtensionFlags = Field<std::uint8_t, 19>;
    using ExtensionLength = Field<std::uint8_t, 20>;
    using PreviousSize = Block<3, 21>;  // size22 of the packet before this one, FF FF FF for the first
    using PacketSize = Block<3, 24>;    // size22
    using Flags = Field<std::uint8_t, 27>;
    using Program = Field<std::uint8_t, 28>;
    using Padding = Field<std::uint8_t, 29>;
    using DateLow = Field<std::uint8_t, 30>;  // date16, low byte first
    using DateHigh = Field<std::uint8_t, 31>;
};
inline constexpr std::uint8_t kPesMarker = 0x80;
inline constexpr std::uint8_t kPesContents = 0xC1;
inline constexpr std::uint8_t kPesDataLength = 23;
inline constexpr std::uint8_t kPesExtensionFlags = 0x0F;
inline constexpr std::uint8_t kPesExtensionLength = 0x8B;  // marker bit, 11 bytes
static_assert(PesHeader::DataLength::offset + 1 + kPesDataLength == PesHeader::size);
static_assert(PesHeader::DateHigh::offset + PesHeader::DateHigh::width == PesHeader::size);

/// Bits of PesHeader::Flags.
inline constexpr std::uint8_t kPictureTypeBits = 0x03;
inline constexpr std::uint8_t kKeyFrame = 1;
inline constexpr std::uint8_t kOtherFrame = 2;
inline constexpr std::uint8_t kAlwaysSetFlags = 0x1C;
inline constexpr std::uint8_t kRecordingKindBits = 0xE0;
