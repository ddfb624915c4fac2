#pragma once

// Converts integers to bytes and back. All byte layouts of the module are tables of the Fields defined here;
// no other code casts raw memory.

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

namespace platform {

using Byte = std::uint8_t;

/// Reverses the bytes of an integer. Written as one expression per size, which compilers turn into a single
/// instruction; GCC 12 does not optimize a loop of shifts.
template <std::unsigned_integral T>
[[nodiscard]] constexpr T byte_swapped(T value) noexcept {
    if constexpr (sizeof(T) == 1) {
        return value;
    } else if constexpr (sizeof(T) == 2) {
        return static_cast<T>((value << 8) | (value >> 8));
    } else if constexpr (sizeof(T) == 4) {
        return static_cast<T>((value << 24) | ((value & 0xFF00U) << 8) | ((value >> 8) & 0xFF00U) |
                              (value >> 24));
    } else {
        const auto low = byte_swapped(static_cast<std::uint32_t>(value));
        const auto high = byte_swapped(static_cast<std::uint32_t>(value >> 32));
        return (static_cast<T>(low) << 32) | high;
    }
}

/// Views a text as bytes. OWNERSHIP: the text's; valid while the text is unchanged.
[[nodiscard]] inline std::span<const Byte> bytes_of(std::string_view text) noexcept {
    return {reinterpret_cast<const Byte*>(text.data()), text.size()};
}
[[nodiscard]] inline std::span<Byte> bytes_of(std::string& text) noexcept {
    return {reinterpret_cast<Byte*>(text.data()), text.size()};
}

/// Reads one integer of the given byte order.
template <std::endian Order, std::unsigned_integral T>
[[nodiscard]] T load(std::span<const Byte, sizeof(T)> from) noexcept {
    T value{};
    std::memcpy(&value, from.data(), sizeof(T));
    return Order == std::endian::native ? value : byte_swapped(value);
}

/// Writes one integer in the given byte order.
template <std::endian Order, std::unsigned_integral T>
void store(std::span<Byte, sizeof(T)> to, T value) noexcept {
    const T ordered = Order == std::endian::native ? value : byte_swapped(value);
    std::memcpy(to.data(), &ordered, sizeof(T));
}

/// A record of fixed size in one byte order. Derive from it and name its fields:
///     struct Entry : Record<8, std::endian::little> { using Time = Field<std::uint32_t, 4>; };
template <std::size_t Size, std::endian Order>
struct Record {
    static constexpr std::size_t size = Size;
    using Bytes = std::array<Byte, Size>;
    using View = std::span<const Byte, Size>;
    using MutableView = std::span<Byte, Size>;

    /// One integer at a fixed offset.
    template <std::unsigned_integral T, std::size_t Offset>
    struct Field {
        static_assert(Offset + sizeof(T) <= Size, "the field lies outside its record");
        static constexpr std::size_t offset = Offset;
        static constexpr std::size_t width = sizeof(T);

        [[nodiscard]] static T get(View record) noexcept {
            return load<Order, T>(record.template subspan<Offset, sizeof(T)>());
        }
        static void put(MutableView record, T value) noexcept {
            store<Order, T>(record.template subspan<Offset, sizeof(T)>(), value);
        }
    };

    /// A sequence of bytes at a fixed offset, for texts, stuffing and packed encodings.
    template <std::size_t Length, std::size_t Offset>
    struct Block {
        static_assert(Offset + Length <= Size, "the block lies outside its record");
        static constexpr std::size_t offset = Offset;
        static constexpr std::size_t width = Length;

        [[nodiscard]] static std::span<const Byte, Length> of(View record) noexcept {
            return record.template subspan<Offset, Length>();
        }
        [[nodiscard]] static std::span<Byte, Length> of(MutableView record) noexcept {
            return record.template subspan<Offset, Length>();
        }
    };
};

}  // namespace platform
