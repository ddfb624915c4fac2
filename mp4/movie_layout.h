#pragma once

// Layouts of the boxes from which movie.h is read, without their headers. ISO/IEC 14496-12; the clause
// precedes each one. All integers are big-endian.

#include <cstdint>

#include "platform/bytes.h"

template <std::size_t Size>
using MovieRecord = platform::Record<Size, std::endian::big>;

/// 4.2. The first bytes of a full box. The version is the top byte, the flags are the others.
struct FullBox : MovieRecord<4> {
    using Version = Field<std::uint8_t, 0>;
    using VersionAndFlags = Field<std::uint32_t, 0>;
};
inline constexpr std::uint32_t kFlagBits = 0x00FFFFFF;

/// 8.3.2. Track header of version 0 and 1, up to the track ID.
struct TrackHeader : MovieRecord<16> {
    using TrackId = Field<std::uint32_t, 12>;
};
struct LongTrackHeader : MovieRecord<24> {
    using TrackId = Field<std::uint32_t, 20>;
};
inline constexpr std::uint32_t kTrackEnabled = 0x000001;

/// 8.4.3. Handler, up to its type.
struct HandlerRecord : MovieRecord<12> {
    using Type = Field<std::uint32_t, 8>;
};

/// 8.6.6. Entries of an edit list of version 0 and 1. The media time of an empty edit is -1.
struct EditEntry : MovieRecord<12> {
    using Duration = Field<std::uint32_t, 0>;   // in the movie's time scale
    using MediaTime = Field<std::uint32_t, 4>;  // in the track's time scale, signed
};
struct LongEditEntry : MovieRecord<20> {
    using Duration = Field<std::uint64_t, 0>;
    using MediaTime = Field<std::uint64_t, 8>;
};

/// 8.5.2. Sample description, up to its entries.
struct SampleDescriptionHeader : MovieRecord<8> {
    using Count = Field<std::uint32_t, 4>;
};

/// 12.1.3. Visual sample entry, up to its boxes.
struct VisualEntry : MovieRecord<78> {
    using Width = Field<std::uint16_t, 24>;   // pixels
    using Height = Field<std::uint16_t, 26>;  // pixels
};

/// ISO/IEC 14496-15, 5.3.3.1. AVC configuration, up to the first sequence parameter set.
struct AvcConfiguration : MovieRecord<6> {
    using NalLengthSize = Field<std::uint8_t, 4>;  // low two bits: less 1
    using SequenceSets = Field<std::uint8_t, 5>;   // low five bits: the count
};
inline constexpr std::uint8_t kNalLengthSizeBits = 0x03;
inline constexpr std::uint8_t kSequenceSetsBits = 0x1F;

/// 8.8.3. Track extends: defaults for the track's fragments.
struct TrackExtends : MovieRecord<24> {
    using TrackId = Field<std::uint32_t, 4>;
    using Description = Field<std::uint32_t, 8>;
    using Duration = Field<std::uint32_t, 12>;
    using Size = Field<std::uint32_t, 16>;
    using Flags = Field<std::uint32_t, 20>;
};

/// 8.8.7. Track fragment header, up to its optional fields, which follow in the order of their flags.
struct FragmentHeader : MovieRecord<8> {
    using TrackId = Field<std::uint32_t, 4>;
};
inline constexpr std::uint32_t kHasBaseOffset = 0x000001;
inline constexpr std::uint32_t kHasDescription = 0x000002;
inline constexpr std::uint32_t kHasDefaultDuration = 0x000008;
inline constexpr std::uint32_t kHasDefaultSize = 0x000010;
inline constexpr std::uint32_t kHasDefaultFlags = 0x000020;
inline constexpr std::uint32_t kBaseIsFragment = 0x020000;

/// 8.8.8. Track run, up to its optional fields, which follow in the order of their flags. The flags from
/// kHasDuration on are fields of each sample.
struct RunHeader : MovieRecord<8> {
    using Count = Field<std::uint32_t, 4>;
};
inline constexpr std::uint32_t kHasDataOffset = 0x000001;
inline constexpr std::uint32_t kHasFirstFlags = 0x000004;
inline constexpr std::uint32_t kHasDuration = 0x000100;
inline constexpr std::uint32_t kHasSize = 0x000200;
inline constexpr std::uint32_t kHasFlags = 0x000400;
inline constexpr std::uint32_t kHasComposition = 0x000800;

/// 8.8.3.1. Flags of a sample in a fragment. A picture with either of these is not a key frame.
inline constexpr std::uint32_t kNotSync = 0x00010000;
inline constexpr std::uint32_t kDependsOnOthers = 0x01000000;
