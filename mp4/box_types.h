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

/// Sizes in a box header that are not sizes, ISO/IEC 14496-12, 4.2.
inline constexpr std::uint32_t kSizeToEnd = 0;  // up to the end of the file
inline constexpr std::uint32_t kLargeSize = 1;  // the size is in the 64 bits after the type

inline constexpr BoxType kFtyp = box_type("ftyp");
inline constexpr BoxType kMvhd = box_type("mvhd");
inline constexpr BoxType kStts = box_type("stts");
inline constexpr BoxType kStsc = box_type("stsc");
inline constexpr BoxType kStsz = box_type("stsz");
inline constexpr BoxType kStco = box_type("stco");
inline constexpr BoxType kStss = box_type("stss");
inline constexpr BoxType kStsd = box_type("stsd");

/// Boxes that only movie.h reads.
inline constexpr BoxType kMoov = box_type("moov");
inline constexpr BoxType kTrak = box_type("trak");
inline constexpr BoxType kTkhd = box_type("tkhd");
inline constexpr BoxType kEdts = box_type("edts");
inline constexpr BoxType kElst = box_type("elst");
inline constexpr BoxType kMdia = box_type("mdia");
inline constexpr BoxType kMdhd = box_type("mdhd");
inline constexpr BoxType kHdlr = box_type("hdlr");
inline constexpr BoxType kMinf = box_type("minf");
inline constexpr BoxType kStbl = box_type("stbl");
inline constexpr BoxType kCtts = box_type("ctts");
inline constexpr BoxType kStz2 = box_type("stz2");
inline constexpr BoxType kCo64 = box_type("co64");
inline constexpr BoxType kAvcC = box_type("avcC");
inline constexpr BoxType kMvex = box_type("mvex");
inline constexpr BoxType kTrex = box_type("trex");
inline constexpr BoxType kMoof = box_type("moof");
inline constexpr BoxType kTraf = box_type("traf");
inline constexpr BoxType kTfhd = box_type("tfhd");
inline constexpr BoxType kTfdt = box_type("tfdt");
inline constexpr BoxType kTrun = box_type("trun");

/// Sample entry types. The configuration of an "avc1" entry is read; tracks of "mp4a" are not converted.
/// "avc3" permits parameter sets in the samples (ISO/IEC 14496-15, 5.4.2.1).
inline constexpr BoxType kAvc1 = box_type("avc1");
inline constexpr BoxType kAvc3 = box_type("avc3");
inline constexpr BoxType kMp4a = box_type("mp4a");

/// True if the payload is read as a sequence of boxes.
[[nodiscard]] bool is_container_box(BoxType type) noexcept;

/// True for known boxes that are skipped without a log line.
[[nodiscard]] bool is_skipped_box(BoxType type) noexcept;
