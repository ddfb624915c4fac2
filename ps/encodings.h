#pragma once

// The packed values of packet headers: time stamps, dates, sizes.

#include <cstdint>
#include <span>

#include "platform/bytes.h"

/// Ticks of the 90 kHz clock per millisecond.
inline constexpr std::uint64_t kClockPerMillisecond = 90;

/// Packs a 33-bit time stamp (90 kHz) with its marker bits. The prefix is the 4-bit code before it,
/// kPresentationPrefix or kDecodingPrefix. ISO/IEC 13818-1, 2.4.3.7.
void put_time_stamp(std::span<platform::Byte, 5> to, std::uint8_t prefix, std::uint64_t ticks) noexcept;

/// Unpacks a time stamp. Ignores its prefix and marker bits.
[[nodiscard]] std::uint64_t get_time_stamp(std::span<const platform::Byte, 5> from) noexcept;

/// A calendar date in 16 bits: 7 bits for the year since 2000, 4 for the month, 5 for the day. 0 is not a
/// date.
[[nodiscard]] std::uint16_t date16(std::uint32_t year, std::uint32_t month, std::uint32_t day) noexcept;

/// A date16 in a packet header, low byte first.
void put_date16(std::span<platform::Byte, 2> to, std::uint16_t date) noexcept;
[[nodiscard]] std::uint16_t get_date16(std::span<const platform::Byte, 2> from) noexcept;

/// Packs a size below 2^22 into three bytes that cannot look like a start code. kNoSize becomes FF FF FF.
void put_size22(std::span<platform::Byte, 3> to, std::uint32_t size) noexcept;
[[nodiscard]] std::uint32_t get_size22(std::span<const platform::Byte, 3> from) noexcept;
inline constexpr std::uint32_t kNoSize = 0xFFFFFFFF;
