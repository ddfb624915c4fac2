#include "ps/encodings.h"

using platform::Byte;

namespace {

constexpr Byte low_byte(std::uint64_t value) {
    return static_cast<Byte>(value & 0xFF);
}

}  // namespace

void put_time_stamp(std::span<Byte, 5> to, std::uint8_t prefix, std::uint64_t ticks) noexcept {
    to[0] = low_byte((std::uint64_t{prefix} << 4) | ((ticks >> 29) & 0x0E) | 1);
    to[1] = low_byte(ticks >> 22);
    to[2] = low_byte(((ticks >> 14) & 0xFE) | 1);
    to[3] = low_byte(ticks >> 7);
    to[4] = low_byte(((ticks << 1) & 0xFE) | 1);
}

std::uint64_t get_time_stamp(std::span<const Byte, 5> from) noexcept {
    return (std::uint64_t{from[0]} & 0x0E) << 29 | std::uint64_t{from[1]} << 22 |
           (std::uint64_t{from[2]} & 0xFE) << 14 | std::uint64_t{from[3]} << 7 | std::uint64_t{from[4]} >> 1;
}

std::uint16_t date16(std::uint32_t year, std::uint32_t month, std::uint32_t day) noexcept {
    // Unsigned wrap-around is correct for years before 2000: 2^32 is a multiple of 128.
    return static_cast<std::uint16_t>(((year - 2000) % 128) * 512 + (month & 15) * 32 + (day & 31));
}

void put_date16(std::span<Byte, 2> to, std::uint16_t date) noexcept {
    platform::store<std::endian::little>(to, date);
}

std::uint16_t get_date16(std::span<const Byte, 2> from) noexcept {
    return platform::load<std::endian::little, std::uint16_t>(from);
}

void put_size22(std::span<Byte, 3> to, std::uint32_t size) noexcept {
    to[0] = low_byte(0x80 | ((size >> 15) & 0x7F));
    to[1] = low_byte(((size >> 11) & 0x0F) << 4 | 0x08 | ((size >> 8) & 0x07));
    to[2] = low_byte(size);
}

std::uint32_t get_size22(std::span<const Byte, 3> from) noexcept {
    return (from[0] & 0x7FU) << 15 | (std::uint32_t{from[1]} >> 4) << 11 | (from[1] & 7U) << 8 | from[2];
}
