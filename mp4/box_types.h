#pragma once

// Every known box type. Which boxes are entered and which are skipped follows what recorders have always
// accepted, not the standard's hierarchy: "mvex" and "udta" are skipped; "meta", "styp" and "pdin" are
// entered.

#include <cstdint>
#include <string_view>

/// The four characters of a type code, read as a big-endian integer.
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

/// Sample entry types. The configuration of an "avc1" entry is read; tracks of "mp4a" are not converted.
inline constexpr BoxType kAvc1 = box_type("avc1");
inline constexpr BoxType kMp4a = box_type("mp4a");

/// True if the payload is read as a sequence of boxes.
[[nodiscard]] bool is_container_box(BoxType type) noexcept;

/// True for known boxes that are skipped without a log line.
[[nodiscard]] bool is_skipped_box(BoxType type) noexcept;
