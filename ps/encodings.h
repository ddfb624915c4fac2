#pragma once

// The packed values of packet headers: time stamps, dates, sizes.

#include <cstdint>
#include <span>

#include "platform/bytes.h"

/// Ticks of the 90 kHz clock in a millisecond.
inline constexpr std::uint64_t kClockPerMillisecond = 90;

/// Packs a 33-bit time stamp (90 kHz) with its marker bits; prefix is the 4-bit code in front, 3 (PTS) or 1
/// (DTS) beside a PTS. ISO/IEC 13818-1, 2.4.3.7.
void put_time_stamp(std::span<platform::Byte, 5> to, std::uint8_t prefix, std::uint64_t ticks) noexcept;

/// Unpacks a time stamp without looking at its prefix and markers.
[[nodiscard]] std::uint64_t get_time_stamp(std::span<const platform::Byte, 5> from) noexcept;

/// A calendar date in 16 bits: 7 of the year since 2000, 4 of the month, 5 of the day. 0 is no real date.
[[nodiscard]] std::uint16_t date16(std::uint32_t year, std::uint32_t month, std::uint32_t day) noexcept;

/// A size below 2^22 in three bytes that cannot imitate a start code; kNoSize gives FF FF FF.
void put_size22(std::span<platform::Byte, 3> to, std::uint32_t size) noexcept;
[[nodiscard]] std::uint32_t get_size22(std::span<const platform::Byte, 3> from) noexcept;
inline constexpr std::uint32_t kNoSize = 0xFFFFFFFF;

/// Stream ids with one of these bits (Dx, Ex) are video, the others (Cx) audio.
[[nodiscard]] constexpr bool is_video_id(std::uint8_t id) noexcept {
    return (id & 0x30U) != 0;
}

/// The slot that a stream id stands for: 0 to 15 for video, 16 to 31 for audio.
[[nodiscard]] constexpr std::uint8_t slot_of_stream_id(std::uint8_t id) noexcept {
    return static_cast<std::uint8_t>(is_video_id(id) ? id & 0x0FU : 16U + (id & 0x0FU));
}
