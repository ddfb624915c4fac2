#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "convert/mp4_parser.h"
#include "mp4/sample_tables.h"

namespace ps_tool {

/// The result of a conversion by the module's code without output.
struct DryRun {
    std::int32_t result = norvane::kNotConverted;
    std::uint64_t frames = 0;  // written to the recording
    std::uint64_t key_frames = 0;
    double frame_duration = 0;  // seconds
    bool parameter_sets_in_samples = false;
    std::vector<SampleTables> tracks;

    [[nodiscard]] bool converted() const { return result == norvane::kConverted; }
    [[nodiscard]] bool parameter_sets_in_description() const;
};

/// Converts a clip without writing or removing anything.
[[nodiscard]] DryRun run_without_output(const std::string& clip);

}  // namespace ps_tool
