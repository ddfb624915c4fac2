#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "convert/mp4_parser.h"
#include "mp4/sample_tables.h"

namespace ps_tool {

/// A conversion that writes nothing and removes nothing. The module's own one, so that what it says is what
/// would happen.
struct Trial {
    std::int32_t result = norvane::kNotConverted;
    std::uint64_t frames = 0;  // that went into the recording
    std::uint64_t key_frames = 0;
    double frame_duration = 0;  // seconds
    bool parameter_sets_in_samples = false;
    std::vector<SampleTables> tracks;

    [[nodiscard]] bool converted() const { return result == norvane::kConverted; }
    [[nodiscard]] bool parameter_sets_in_description() const;
};

[[nodiscard]] Trial try_conversion(const std::string& clip);

}  // namespace ps_tool
