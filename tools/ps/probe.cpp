// norvanepi-ps probe: predicts how the module converts a clip.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>

#include "tools/cli/exit_status.h"
#include "tools/cli/jobs.h"
#include "tools/cli/json_list.h"
#include "tools/ps/command.h"
#include "tools/ps/diagnosis.h"

namespace ps_tool {
namespace {

using cli::Json;

struct Probe {
    DryRun dry_run;  // with the default profile
    DryRun safe;     // with the safe profile
    std::vector<Finding> findings;

    /// The exit status is about the default profile only.
    [[nodiscard]] bool ok() const { return dry_run.converted() && findings.empty(); }
};

std::string_view result_of(const DryRun& dry_run) {
    if (dry_run.converted()) return "converted";
    return dry_run.frames > 0 ? "converted in part" : "refused";
}

std::string_view parameter_set_location(const DryRun& dry_run) {
    if (dry_run.parameter_sets_in_samples) {
        return dry_run.parameter_sets_in_description ? "samples and sample description" : "samples";
    }
    return dry_run.parameter_sets_in_description ? "sample description" : "none";
}

/// The largest difference in ms between frames with the same number, 0 if only the rounding of the safe
/// profile to a millisecond differs. Nothing if a profile writes no frame.
std::optional<double> time_difference(const Probe& probe) {
    constexpr double kRounding = 0.51;  // ms
    const std::size_t frames = std::min(probe.dry_run.times.size(), probe.safe.times.size());
    if (frames == 0) return std::nullopt;
    double largest = 0;  // seconds
    for (std::size_t i = 0; i < frames; ++i)
        largest = std::max(largest, std::abs(probe.safe.times[i] - probe.dry_run.times[i]));
    return std::floor(largest * 1000 + (1 - kRounding));
}

std::string describe_safe(const Probe& probe) {
    const DryRun& safe = probe.safe;
    std::string text =
        fmt::format("{}, {} frames, {} key frames", result_of(safe), safe.frames, safe.key_frames);
    if (safe.key_frames > 0)
        text += fmt::format(", {} with parameter sets",
                            safe.key_frames_with_parameter_sets == safe.key_frames
                                ? "all"
                                : fmt::to_string(safe.key_frames_with_parameter_sets));
    if (const auto difference = time_difference(probe))
        text += *difference > 0 ? fmt::format(", times differ by up to {:.0f} ms", *difference)
                                : ", times as by default";
    return safe.converted() ? text : text + ": " + safe.error;
}

void print_track(std::size_t number, const SampleTables& track) {
    const StsdEntry& entry = track.sample_descriptions.front();
    if (entry.format == kMp4a) {
        fmt::print("  track {}: '{}', {} samples, not converted\n", number, name_of(entry.format),
                   track.sample_sizes.size());
    } else {
        fmt::print("  track {}: '{}', {}x{}, {} samples\n", number, name_of(entry.format), entry.width,
                   entry.height, track.sample_sizes.size());
    }
}

void print_text(const std::string& clip, const Probe& probe) {
    const DryRun& dry_run = probe.dry_run;
    fmt::print("{}: {}, {} frames, {} key frames\n", clip, result_of(dry_run), dry_run.frames,
               dry_run.key_frames);
    for (std::size_t i = 0; i < dry_run.tracks.size(); ++i) print_track(i + 1, dry_run.tracks[i]);
    if (dry_run.frames > 0) {
        fmt::print("  frame duration: {:.3f} ms\n  parameter sets: {}{}\n", dry_run.frame_duration * 1000,
                   parameter_set_location(dry_run),
                   dry_run.parameter_sets_in_samples ? "" : "; the recording will not contain them");
    }
    for (const Finding& finding : probe.findings) {
        fmt::print("  offset {}{}: {} ({})\n", finding.offset,
                   finding.box.empty() ? "" : fmt::format(", box '{}'", finding.box), finding.text,
                   finding.rule);
    }
    fmt::print("  safe profile: {}\n", describe_safe(probe));
}

Json tracks_json(const DryRun& dry_run) {
    Json tracks = Json::array();
    for (const SampleTables& track : dry_run.tracks) {
        const StsdEntry& entry = track.sample_descriptions.front();
        tracks.push_back({{"format", name_of(entry.format)},
                          {"width", entry.width},
                          {"height", entry.height},
                          {"samples", track.sample_sizes.size()},
                          {"converted", entry.format != kMp4a}});
    }
    return tracks;
}

Json safe_json(const Probe& probe) {
    const DryRun& safe = probe.safe;
    const auto difference = time_difference(probe);
    return {{"result", result_of(safe)},
            {"reason", safe.converted() ? Json() : Json(safe.error)},
            {"frames", safe.frames},
            {"key_frames", safe.key_frames},
            {"key_frames_with_parameter_sets", safe.key_frames_with_parameter_sets},
            {"largest_time_difference_ms", difference ? Json(*difference) : Json()}};
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
            {"result", result_of(probe.dry_run)},
            {"frames", probe.dry_run.frames},
            {"key_frames", probe.dry_run.key_frames},
            {"frame_duration_ms", probe.dry_run.frame_duration * 1000},
            {"parameter_sets", parameter_set_location(probe.dry_run)},
            {"tracks", tracks_json(probe.dry_run)},
            {"findings", findings},
            {"safe", safe_json(probe)}};
}

}  // namespace

int run_probe(const Options& options) {
    require_readable(options.paths);
    std::optional<cli::JsonList> json;
    if (options.json) json.emplace(stdout, "clips");
    bool ok = true;
    const auto work = [&](std::size_t i) {
        const std::string& clip = options.paths[i];
        Probe probe{run_without_output(clip, {}), run_without_output(clip, norvane::safe_options()), {}};
        probe.findings = diagnose(clip, probe.dry_run);
        return probe;
    };
    const auto show = [&](std::size_t i, const Probe& probe) {
        json ? json->add(json_of(options.paths[i], probe)) : print_text(options.paths[i], probe);
        ok &= probe.ok();
    };
    cli::run_in_order<Probe>(options.paths.size(), options.jobs, work, show);
    if (json) json->finish();
    return ok ? cli::kSuccess : cli::kFailure;
}

}  // namespace ps_tool
