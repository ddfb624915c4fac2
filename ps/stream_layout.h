#pragma once

// Layout of the data file: one pack header, one program stream map, then PES packets without gaps. The syntax
// follows ISO/IEC 13818-1 (2.5.3.3 pack, 2.5.4 map, 2.4.3.6 PES packet). All integers are big-endian.
// docs/recording-format.md shows the same tables and gives the reasons.

#include <array>
#include <cstdint>

#include "platform/bytes.h"

template <std::size_t Size>
using StreamRecordLayout = platform::Record<Size, std::endian::big>;

/// Writer slots, one per elementary stream of the map. Slots 0 to 15 are video, 16 to 31 audio.
inline constexpr std::uint32_t kSlots = 32;
inline constexpr std::uint32_t kVideoSlots = 16;

/// Stream ids: a base plus the number of the stream among the video or audio slots.
inline constexpr std::uint8_t kVideoId = 0xD0;
inline constexpr std::uint8_t kVideoIdWithCodec = 0xE0;
inline constexpr std::uint8_t kAudioId = 0xC0;
inline constexpr std::uint8_t kStreamNumberBits = 0x0F;
inline constexpr std::uint8_t kVideoIdBits = 0x30;  // video ids have at least one of them

/// Stream types: a base plus the codec.
inline constexpr std::uint8_t kVideoType = 0x85;
inline constexpr std::uint8_t kAudioType = 0x90;

/// Packets are padded to a multiple of this. The index stores positions and sizes in these units.
inline constexpr std::uint32_t kPacketUnit = 32;

/// The bits that a packet size may have set: sizes are multiples of kPacketUnit below 4 MiB.
inline constexpr std::uint32_t kPacketSizeBits = 0x003FFFE0;

inline constexpr platform::Byte kFillerByte = 0xFF;

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
    using Filler = Block<8, 0>;  // kFillerByte
    using Code = Block<4, 8>;
    using Extra = Block<16, 12>;
    using Name = Block<32, 28>;
    using Byte60 = Field<std::uint8_t, 60>;  // kProgramInfoByte60
    using Reserved = Block<33, 61>;
};
inline constexpr std::uint8_t kProgramInfoByte60 = 0x02;

/// One elementary stream of the map.
struct MapEntry : StreamRecordLayout<58> {
    using Type = Field<std::uint8_t, 0>;
    using Id = Field<std::uint8_t, 1>;
    using InfoLength = Field<std::uint16_t, 2>;  // kMapEntryInfoLength
    using Width = Field<std::uint8_t, 4>;        // video: in units of kMapPixels
    using Height = Field<std::uint8_t, 5>;       // video: in units of kMapPixels
    using Filler = Field<std::uint16_t, 6>;      // video: kMapEntryFiller
    using ValueA = Field<std::uint16_t, 4>;      // audio
    using ValueB = Field<std::uint16_t, 6>;      // audio
    using Reserved = Block<18, 8>;
    using Name = Block<32, 26>;
};
inline constexpr std::uint16_t kMapEntryInfoLength = MapEntry::size - MapEntry::Width::offset;
inline constexpr std::uint16_t kMapEntryFiller = 0xFFFF;
inline constexpr std::uint32_t kMapPixels = 16;

/// ISO/IEC 13818-1, 2.5.4.1, without the CRC_32 that the standard has after the entries.
struct StreamMap : StreamRecordLayout<1962> {
    using StartCode = Field<std::uint32_t, 0>;
    using Length = Field<std::uint16_t, 4>;  // kMapLength
    using Version = Field<std::uint8_t, 6>;
    using Marker = Field<std::uint8_t, 7>;
    using InfoLength = Field<std::uint16_t, 8>;
    using Info = Block<ProgramInfo::size, 10>;
    using EntriesLength = Field<std::uint16_t, 104>;
    using Entries = Block<std::size_t{kSlots} * MapEntry::size, 106>;
};
inline constexpr std::uint32_t kMapStartCode = 0x000001BC;
inline constexpr std::uint16_t kMapLength = StreamMap::size - StreamMap::Version::offset;
inline constexpr std::uint8_t kMapVersion = 0xE2;  // current, reserved bits set, version 2
inline constexpr std::uint8_t kMapMarker = 0xFF;
static_assert(StreamMap::Info::offset + StreamMap::Info::width == StreamMap::EntriesLength::offset);
static_assert(StreamMap::Entries::offset + StreamMap::Entries::width == StreamMap::size);

/// Offset of the first packet.
inline constexpr std::uint64_t kPacketsAt = PackHeader::size + StreamMap::size;
static_assert(kPacketsAt == 1978);

/// ISO/IEC 13818-1, 2.4.3.6: the header with both time stamps and a private 11-byte extension field.
struct PesHeader : StreamRecordLayout<32> {
    using StartCode = Block<3, 0>;  // kPacketStartCode
    using StreamId = Field<std::uint8_t, 3>;
    using Length = Field<std::uint16_t, 4>;  // packet size - 6, low 16 bits; see "Wrapped length" there
    using Marker = Field<std::uint8_t, 6>;
    using Contents = Field<std::uint8_t, 7>;    // PTS and DTS, extension
    using DataLength = Field<std::uint8_t, 8>;  // header bytes after this field
    using PresentationTime = Block<5, 9>;       // 33 bits of 90 kHz ticks since midnight
    using DecodingTime = Block<5, 14>;          // the same value
    using ExtensionFlags = Field<std::uint8_t, 19>;
    using ExtensionLength = Field<std::uint8_t, 20>;
    using PreviousSize = Block<3, 21>;  // size22 of the previous packet, FF FF FF for the first
    using PacketSize = Block<3, 24>;    // size22
    using Flags = Field<std::uint8_t, 27>;
    using Program = Field<std::uint8_t, 28>;  // kProgramMarker and two bits of the program code
    using Padding = Field<std::uint8_t, 29>;  // kPaddingMarker and the number of padding bytes
    using Date = Block<2, 30>;                // date16, low byte first
};
inline constexpr std::array<platform::Byte, 3> kPacketStartCode = {0x00, 0x00, 0x01};
inline constexpr std::uint8_t kPesMarker = 0x80;
inline constexpr std::uint8_t kPesContents = 0xC1;
inline constexpr std::uint8_t kPesDataLength = 23;
inline constexpr std::uint8_t kPesExtensionFlags = 0x0F;
inline constexpr std::uint8_t kPesExtensionLength = 0x8B;  // marker bit, 11 bytes
inline constexpr std::uint8_t kPresentationPrefix = 3;     // before a PTS that a DTS follows
inline constexpr std::uint8_t kDecodingPrefix = 1;         // before that DTS
static_assert(PesHeader::DataLength::offset + 1 + kPesDataLength == PesHeader::size);
static_assert(PesHeader::Date::offset + PesHeader::Date::width == PesHeader::size);

/// Bits of PesHeader::Flags.
inline constexpr std::uint8_t kPictureTypeBits = 0x03;
inline constexpr std::uint8_t kKeyFrame = 1;
inline constexpr std::uint8_t kOtherFrame = 2;
inline constexpr std::uint8_t kAlwaysSetFlags = 0x1C;
inline constexpr std::uint8_t kRecordingKindBits = 0xE0;

/// PesHeader::Program and PesHeader::Padding.
inline constexpr std::uint8_t kProgramMarker = 0xC0;
inline constexpr std::uint8_t kProgramCodeBits = 0x03;
inline constexpr int kProgramCodeShift = 4;
inline constexpr std::uint8_t kPaddingMarker = 0xC0;
inline constexpr std::uint8_t kPaddingBits = 0x1F;
static_assert(kPaddingBits == kPacketUnit - 1);

/// PesHeader::Program for a program code.
[[nodiscard]] constexpr std::uint8_t program_byte(std::uint8_t program_code) noexcept {
    return static_cast<std::uint8_t>(kProgramMarker | (program_code & kProgramCodeBits) << kProgramCodeShift);
}

[[nodiscard]] constexpr bool is_video_id(std::uint8_t id) noexcept {
    return (id & kVideoIdBits) != 0;
}

/// The slot of a stream id: 0 to 15 for video, 16 to 31 for audio.
[[nodiscard]] constexpr std::uint8_t slot_of_stream_id(std::uint8_t id) noexcept {
    return static_cast<std::uint8_t>((is_video_id(id) ? 0 : kVideoSlots) + (id & kStreamNumberBits));
}
