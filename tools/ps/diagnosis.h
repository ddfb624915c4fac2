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
    std::string error;         // the last log line of level 75, without the path of the recording
    std::uint64_t frames = 0;  // written to the recording
    std::uint64_t key_frames = 0;
    std::uint64_t key_frames_with_parameter_sets = 0;
    std::vector<double> times;  // of the frames, in seconds from a common start; limited in number
    double end = 0;             // of the last frame, in seconds from the start of the clip
    double frame_duration = 0;  // seconds
    bool parameter_sets_in_samples = false;
    bool parameter_sets_in_description = false;
    std::vector<SampleTables> tracks;

    [[nodiscard]] bool converted() const { return result == norvane::kConverted; }
};

/// Converts a clip without writing or removing anything.
[[nodiscard]] DryRun run_without_output(const std::string& clip, const norvane::Options& options);

/// A reason why a clip is refused or its recording differs from the clip.
struct Finding {
    std::string rule;          // a short, stable name
    std::string box;           // type of the box, or empty
    std::uint64_t offset = 0;  // bytes from the start of the clip
    std::string text;
};

/// Looks for the reasons of the result with the default profile in the clip's boxes and samples, and compares
/// it with that of the safe profile. Returns nothing for a clip that is converted completely and correctly.
[[nodiscard]] std::vector<Finding> diagnose(const std::string& clip, const DryRun& dry_run,
                                            const DryRun& safe);

/// True for the codings of H.264 samples.
[[nodiscard]] bool is_avc(BoxType coding);

/// The four characters of a type, with a dot for each that is not printable.
[[nodiscard]] std::string name_of(BoxType type);

}  // namespace ps_tool
