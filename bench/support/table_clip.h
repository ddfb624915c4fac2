#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <utility>

namespace bench {

/// The form of a clip's sample tables.
enum class TableShape { kAllSync, kNoneListed, kOneIn25, kOneAChunk, kUnsorted };
inline constexpr std::array<std::pair<TableShape, const char*>, 5> kTableShapes = {
    {{TableShape::kAllSync, "all sync samples"},
     {TableShape::kNoneListed, "no sync samples"},
     {TableShape::kOneIn25, "every 25th a sync sample"},
     {TableShape::kOneAChunk, "one chunk and entry per sample"},
     {TableShape::kUnsorted, "one chunk and entry per sample, unsorted"}}};

/// Writes a clip whose samples have 300 bytes.
void write_table_clip(const std::filesystem::path& path, TableShape shape, std::uint32_t samples);

}  // namespace bench
