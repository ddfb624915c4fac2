// norvanepi-ps probe: predicts how the module converts a clip.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <optional>

#include "tools/cli/exit_status.h"
#include "tools/cli/jobs.h"
#include "tools/cli/json_list.h"
#include "tools/cli/plural.h"
#include "tools/cli/printable.h"
#include "tools/cli/unusable_inputs.h"
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

std::string result_text(const DryRun& dry_run) {
    if (dry_run.frames == 0) return std::string(result_of(dry_run));
    return fmt::format("{}, {}, {}", result_of(dry_run), cli::plural(dry_run.frames, "frame"),
                       cli::plural(dry_run.key_frames, "key frame"));
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
    std::string text = result_text(safe);
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

/// Codings whose sample entry has a picture size.
bool is_video(BoxType coding) {
    constexpr std::array kOthers = {box_type("hvc1"), box_type("hev1"), box_type("mp4v"), box_type("vp09"),
                                    box_type("av01"), box_type("jpeg"), box_type("mjpg")};
    return is_avc(coding) || std::ranges::find(kOthers, coding) != kOthers.end();
}

/// What a user can do about a result of the default profile that is not the best one; empty if it is.
std::string_view advice_for(const Probe& probe) {
    const bool without_sets = probe.dry_run.frames > 0 && !probe.dry_run.parameter_sets_in_samples;
    if (probe.ok() && !without_sets) return "";
    if (probe.ok() && probe.safe.converted())
        return "with the safe profile, the recording contains parameter sets";
    if (probe.safe.converted()) return "the safe profile converts this clip completely";
    const auto is_truncated = [](const Finding& finding) { return finding.rule == "truncated"; };
    if (std::ranges::any_of(probe.findings, is_truncated)) return "the clip is incomplete; fetch it again";
    return probe.ok() ? "" : "no profile converts this clip completely; let the camera record H.264 in MP4";
}

void print_track(std::size_t number, const SampleTables& track) {
    const StsdEntry& entry = track.sample_descriptions.front();
    fmt::print("  track {}: '{}', {}{}{}\n", number, name_of(entry.format),
               is_video(entry.format) ? fmt::format("{}x{}, ", entry.width, entry.height) : "",
               cli::plural(track.sample_sizes.size(), "sample"),
               entry.format == kMp4a ? ", not converted" : "");
}

void print_text(const std::string& clip, const Probe& probe) {
    const DryRun& dry_run = probe.dry_run;
    fmt::print("{}: {}\n", cli::printable(clip), result_text(dry_run));
    for (std::size_t i = 0; i < dry_run.tracks.size(); ++i) print_track(i + 1, dry_run.tracks[i]);
    if (dry_run.frames > 0) {
        fmt::print("  frame duration: {:.3f} ms\n  parameter sets: {}{}\n", dry_run.frame_duration * 1000,
                   parameter_set_location(dry_run),
                   dry_run.parameter_sets_in_samples ? "" : "; the recording will not contain them");
    }
    for (const Finding& finding : probe.findings) {
        const std::string place = finding.box.empty() ? "" : fmt::format(", box '{}'", finding.box);
        fmt::print("  {}{} ({})\n",
                   finding.offset == 0 ? "" : fmt::format("offset {}{}: ", finding.offset, place),
                   finding.text, finding.rule);
    }
    fmt::print("  safe profile: {}\n", describe_safe(probe));
    const std::string_view advice = advice_for(probe);
    if (!advice.empty()) fmt::print("  advice: {}\n", advice);
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

Json json_of_probe(const std::string& clip, const Probe& probe) {
    Json findings = Json::array();
    for (const Finding& finding : probe.findings) {
        findings.push_back({{"rule", finding.rule},
                            {"box", finding.box.empty() ? Json() : Json(finding.box)},
                            {"offset", finding.offset},
                            {"text", finding.text}});
    }
    const std::string_view advice = advice_for(probe);
    Json json;
    cli::add_path(json, clip);
    json.update({{"result", result_of(probe.dry_run)},
                 {"frames", probe.dry_run.frames},
                 {"key_frames", probe.dry_run.key_frames},
                 {"frame_duration_ms", probe.dry_run.frame_duration * 1000},
                 {"parameter_sets", parameter_set_location(probe.dry_run)},
                 {"tracks", tracks_json(probe.dry_run)},
                 {"findings", findings},
                 {"advice", advice.empty() ? Json() : Json(advice)},
                 {"safe", safe_json(probe)}});
    return json;
}

}  // namespace

int run_probe(const Options& options) {
    const auto json = json_list(options, "clips");
    cli::UnusableInputs unusable(kProgram);
    bool ok = true;
    const auto work = [&](std::size_t i) -> std::optional<Probe> {
        const std::string& clip = options.paths[i];
        if (!platform::system_files().open_input(clip)) return std::nullopt;
        Probe probe{run_without_output(clip, {}), run_without_output(clip, norvane::safe_options()), {}};
        probe.findings = diagnose(clip, probe.dry_run, probe.safe);
        return probe;
    };
    const auto show = [&](std::size_t i, const std::optional<Probe>& result) {
        const std::string& clip = options.paths[i];
        if (!result) return unusable.add(clip, cli::why_unreadable(clip));
        const Probe& probe = *result;
        json != nullptr ? json->add(json_of_probe(clip, probe)) : print_text(clip, probe);
        ok &= probe.ok();
    };
    cli::run_in_order<std::optional<Probe>>(options.paths.size(), options.jobs, work, show);
    if (json != nullptr) json->finish({{"unusable", unusable.json()}});
    return unusable.status(ok ? cli::kSuccess : cli::kFailure);
}

}  // namespace ps_tool
