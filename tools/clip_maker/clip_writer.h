#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace recorder {

/// One sample: the NAL units in it, without what goes in front of each.
struct PlannedSample {
    std::vector<std::string> units;
    bool key = false;
};

/// A clip of one H.264 track, as its file is to hold it (ISO/IEC 14496-12 and 14496-15).
struct ClipPlan {
    std::uint32_t timescale = 1000;
    std::uint32_t duration = 1000;  // of the movie; 0 leaves its header out
    std::uint16_t width = 640;
    std::uint16_t height = 360;
    std::vector<PlannedSample> samples = {};
    std::vector<std::uint32_t> chunks = {};  // samples in each; all in one when empty
    bool sound_behind = false;               // a second track, of AAC
    bool sync_table = true;
    std::string left_out = {};     // a table box that is not written
    std::string unknown_box = {};  // the type of a further box at the end; none when empty
};

/// The bytes of the file.
[[nodiscard]] std::string clip_text(const ClipPlan& plan);

/// A box around a payload; a sample as the file holds it, a length in front of every unit.
[[nodiscard]] std::string box(std::string_view type, std::string_view payload);
[[nodiscard]] std::string stored_sample(const PlannedSample& sample);

}  // namespace recorder
