// norvanepi-ps probe: what the module would make of a clip.

#include <fmt/format.h>

#include <memory>
#include <optional>

#include "tools/cli/command_line.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/json_list.h"
#include "tools/ps/command.h"
#include "tools/ps/common_options.h"
#include "tools/ps/diagnosis.h"

namespace ps_tool {
namespace {

using cli::Json;

struct Probe {
    Trial trial;
    std::vector<Finding> findings;

    [[nodiscard]] bool well() const { return trial.converted() && findings.empty(); }
};

std::string_view result_of(const Trial& trial) {
    if (trial.converted()) return "converted";
    return trial.frames > 0 ? "converted in part" : "refused";
}

std::string_view place_of_parameter_sets(const Trial& trial) {
    if (trial.parameter_sets_in_samples) {
        return trial.parameter_sets_in_description() ? "samples and sample description" : "samples";
    }
    return trial.parameter_sets_in_description() ? "sample description" : "none";
}

void print_track(std::size_t number, const SampleTables& track) {
    const StsdEntry& entry = track.sample_descriptions.front();
    if (entry.format == kMp4a) {
        fmt::print("  track {}: '{}', {} samples, passed over\n", number, name_of(entry.format),
                   track.sample_sizes.size());
    } else {
        fmt::print("  track {}: '{}', {}x{}, {} samples\n", number, name_of(entry.format), entry.width,
                   entry.height, track.sample_sizes.size());
    }
}

void print_text(const std::string& clip, const Probe& probe) {
    const Trial& trial = probe.trial;
    fmt::print("{}: {}, {} frames, {} of them key pictures\n", clip, result_of(trial), trial.frames,
               trial.key_frames);
    for (std::size_t i = 0; i < trial.tracks.size(); ++i) print_track(i + 1, trial.tracks[i]);
    if (trial.frames > 0) {
        fmt::print("  a frame lasts {:.3f} ms\n  parameter sets: {}{}\n", trial.frame_duration * 1000,
                   place_of_parameter_sets(trial),
                   trial.parameter_sets_in_samples ? "" : "; the recording will not have them");
    }
    for (const Finding& finding : probe.findings) {
        fmt::print("  offset {}{}: {} ({})\n", finding.offset,
                   finding.box.empty() ? "" : fmt::format(", box '{}'", finding.box), finding.text,
                   finding.rule);
    }
}

Json tracks_json(const Trial& trial) {
    Json tracks = Json::array();
    for (const SampleTables& track : trial.tracks) {
        const StsdEntry& entry = track.sample_descriptions.front();
        tracks.push_back({{"format", name_of(entry.format)},
                          {"width", entry.width},
                          {"height", entry.height},
                          {"samples", track.sample_sizes.size()},
                          {"converted", entry.format != kMp4a}});
    }
    return tracks;
}

Json json_of(const std::string& clip, const Probe& probe) {
    Json findings = Json::array();
    for (const Finding& finding : probe.findings) {
        findings.push_back({{"rule", finding.rule},
                            {"box", finding.box.empty() ? Json() : Json(finding.box)},
                            {"offset", finding.offset},
                            {"text", finding.text}});
    }
    return {{"path", clip},
            {"result", result_of(probe.trial)},
            {"frames", probe.trial.frames},
            {"key_frames", probe.trial.key_frames},
            {"frame_duration_ms", probe.trial.frame_duration * 1000},
            {"parameter_sets", place_of_parameter_sets(probe.trial)},
            {"tracks", tracks_json(probe.trial)},
            {"findings", findings}};
}

int run_probe(const CommonOptions& options) {
    for (const std::string& clip : options.paths) {
        if (!platform::system_files().open_input(clip)) throw cli::CannotRun("cannot open " + clip);
    }
    std::optional<cli::JsonList> json;
    if (options.json) json.emplace(stdout, "clips");
    bool well = true;
    const auto work = [&](std::size_t i) {
        Probe probe{try_conversion(options.paths[i]), {}};
        probe.findings = diagnose(options.paths[i], probe.trial);
        return probe;
    };
    const auto show = [&](std::size_t i, const Probe& probe) {
        json ? json->add(json_of(options.paths[i], probe)) : print_text(options.paths[i], probe);
        well &= probe.well();
    };
    cli::OrderedJobs<Probe>::run(options.paths.size(), options.jobs, work, show);
    if (json) json->finish();
    return well ? cli::kSuccess : cli::kFailure;
}

}  // namespace

Command add_probe(CLI::App& program) {
    const auto options = std::make_shared<CommonOptions>();
    CLI::App& command = cli::add_command(
        program, "probe", "Tells what the module would make of an MP4 clip, or why it would refuse it",
        "norvanepi-ps probe front.mp4");
    command.add_option("CLIP", options->paths, "MP4 clips")->required()->type_name("CLIP");
    add_jobs(command, *options);
    add_json(command, *options);
    return {&command, [options] { return run_probe(*options); }};
}

}  // namespace ps_tool
