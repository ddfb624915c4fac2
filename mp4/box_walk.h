#pragma once

#include <functional>
#include <string>
#include <vector>

#include "mp4/box_reader.h"
#include "mp4/box_types.h"
#include "mp4/sample_tables.h"

/// True if bytes 4 to 7 of the clip are "ftyp". Leaves the reader at byte 8.
[[nodiscard]] bool is_mp4(BoxReader& in);

/// A box that the walk reached. Offsets count from the start of the file.
struct BoxInfo {
    BoxType type = 0;
    std::uint64_t offset = 0;          // of the header
    std::uint64_t payload_offset = 0;  // after the header
    std::uint64_t payload_size = 0;    // bytes, according to the header
};

/// Reads the clip's boxes in one flat pass from the start of the file. Returns the tables of every track that
/// has all five mandatory ones, in file order. To enter a container only means to read the next header at the
/// start of its payload: nothing checks that a child ends inside its parent.
///
/// on_unknown receives the type of every unknown box, cut at a zero byte. Unknown boxes are skipped. on_box,
/// if given, receives every box before it is read or skipped.
[[nodiscard]] std::vector<SampleTables> gather_tracks(
    BoxReader& in, const std::function<void(const std::string&)>& on_unknown,
    const std::function<void(const BoxInfo&)>& on_box = {});
