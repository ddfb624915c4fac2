#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <utility>

namespace bench {

/// How the sample tables of a clip look.
enum class TableShape { kAllSync, kNoneListed, kOneIn25, kOneAChunk, kUnsorted };
inline constexpr std::array<std::pair<TableShape, const char*>, 5> kTableShapes = {
    {{TableShape::kAllSync, "every one a sync sample"},
     {TableShape::kNoneListed, "no sync sample listed"},
     {TableShape::kOneIn25, "one sync sample in 25"},
     {TableShape::kOneAChunk, "a chunk and an entry each"},
     {TableShape::kUnsorted, "the same in disorder"}}};

/// Writes a clip of samples of 300 bytes.
void write_table_clip(const std::filesystem::path& path, TableShape shape, std::uint32_t samples);

}  // namespace bench
