#pragma once

// The clip maker's names, for tests.

#include "tests/support/byte_text.h"
#include "tools/clip_maker/clip_maker.h"

using clip_maker::AvcSets, clip_maker::Fragments, clip_maker::TrackTimes;
using clip_maker::box, clip_maker::box_header, clip_maker::large_box, clip_maker::table_box;
using clip_maker::Clip, clip_maker::ClipTrack, clip_maker::make_clip;
using clip_maker::nal, clip_maker::unit_of;

/// A NAL unit as a frame stores it: preceded by a start code.
[[nodiscard]] inline std::string in_frame(std::string_view unit) {
    return be32(1).append(unit);
}
