#pragma once

#include <functional>
#include <string>
#include <vector>

#include "mp4/box_reader.h"
#include "mp4/box_types.h"
#include "mp4/sample_tables.h"

/// True when bytes 4 to 7 of the clip are "ftyp". The reader is left behind them.
[[nodiscard]] bool is_mp4(BoxReader& in);

/// A box as the walk meets it.
struct SeenBox {
    BoxType type = 0;
    std::uint64_t at = 0;          // of its header, bytes from the start of the file
    std::uint64_t payload_at = 0;  // behind the header
    std::uint64_t payload = 0;     // bytes, as the header claims
};

/// Walks the clip's boxes from the start of the file in one flat pass and gathers the tables of every track
/// whose five mandatory tables become complete, in file order. Going into a container means only that the
/// next header is read at the start of its payload; nothing checks that a child ends inside its parent.
///
/// on_unknown is told the type of every box in no set, up to a zero byte; such a box is skipped like a known
/// one. on_box, if there is one, is told every box before it is read or skipped.
[[nodiscard]] std::vector<SampleTables> gather_tracks(
    BoxReader& in, const std::function<void(const std::string&)>& on_unknown,
    const std::function<void(const SeenBox&)>& on_box = {});
