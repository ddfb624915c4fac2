#pragma once

#include <algorithm>
#include <cstdint>

#include "mp4/box_reader.h"

/// Loads whole samples, so that the window seldom ends inside a large one, whose beginning would have to be
/// moved. Loads runs that are smaller than kMinRun with the reader's read-ahead, several at once. The cursor
/// has returned the sample of `size` bytes at the reader's position.
template <typename Cursor>
void load_samples(const Cursor& cursor, std::uint32_t size, std::size_t limit, BoxReader& in) {
    constexpr std::uint64_t kMinRun = BoxReader::kMaxFillSize / 16;
    if (size > limit || in.in_window() >= size) return;
    const std::uint64_t run = cursor.run_length(BoxReader::kMaxFillSize);
    if (run >= kMinRun) in.load(static_cast<std::size_t>(std::min<std::uint64_t>(run, in.left())), limit);
}
