#pragma once

// Every box type that a clip is compared with. The sets follow what recorders have always accepted, not the
// standard's own hierarchy: "mvex" and "udta" are skipped whole, "meta", "styp" and "pdin" are walked into.

#include <cstdint>
#include <string_view>

/// A type code as the 32-bit big-endian integer that its four characters form in the file.
using BoxType = std::uint32_t;

[[nodiscard]] constexpr BoxType box_type(std::string_view name) noexcept {
    BoxType type = 0;
    for (const char c : name) type = type << 8 | static_cast<std::uint8_t>(c);
    return type;
}

inline constexpr BoxType kFtyp = box_type("ftyp");
inline constexpr BoxType kMvhd = box_type("mvhd");
inline constexpr BoxType kStts = box_type("stts");
inline constexpr BoxType kStsc = box_type("stsc");
inline constexpr BoxType kStsz = box_type("stsz");
inline constexpr BoxType kStco = box_type("stco");
inline constexpr BoxType kStss = box_type("stss");
inline constexpr BoxType kStsd = box_type("stsd");

/// Sample entry types: the one whose configuration is read, and the one whose track is passed over.
inline constexpr BoxType kAvc1 = box_type("avc1");
inline constexpr BoxType kMp4a = box_type("mp4a");

/// Boxes whose payload is read as a sequence of boxes.
[[nodiscard]] bool is_container_box(BoxType type) noexcept;

/// Boxes that are known and skipped whole, without a word.
[[nodiscard]] bool is_skipped_box(BoxType type) noexcept;
