// norvanepi-ps info: shows the contents of recordings, and whether a player can decode them.

#include <fmt/format.h>

#include <memory>
#include <optional>

#include "tools/cli/exit_status.h"
#include "tools/cli/plural.h"
#include "tools/cli/printable.h"
#include "tools/ps/command.h"
#include "tools/ps/for_each_recording.h"
#include "tools/ps/recording_json.h"
#include "tools/reader/recording_info.h"

namespace ps_tool {
namespace {

using cli::Json;
using reader::RecordingInfo;

std::string zone_text(int minutes) {
    const int size = minutes < 0 ? -minutes : minutes;
    return fmt::format("UTC{}{:02}:{:02}", minutes < 0 ? '-' : '+', size / 60, size % 60);
}

std::string seconds_text(std::int64_t milliseconds) {
    return fmt::format("{}.{:03} s", milliseconds / 1000, milliseconds % 1000);
}

void print_line(std::string_view name, std::string_view text) {
    fmt::print("  {:<12}{}\n", name, text);
}

void print_times(const RecordingInfo& info) {
    const reader::Report& report = info.report;
    if (report.frames == 0) return;
    std::string local = "no local time in the path";
    if (info.path) {
        local = fmt::format("{} in the path, {}", reader::text_of(info.path->local_start).substr(0, 19),
                            info.zone ? zone_text(*info.zone) : "which matches no time zone");
    }
    print_line("first", fmt::format("{} UTC; {}", reader::text_of(report.first), local));
    print_line("last", reader::text_of(report.last) + " UTC");
}

/// The stream map has whole macroblocks.
bool map_differs(const reader::MapStream& stream, const h264::SequenceParameterSet& sequence) {
    const auto in_map = [](std::uint32_t pixels) { return pixels - pixels % kMapPixels; };
    return stream.width != in_map(sequence.width) || stream.height != in_map(sequence.height);
}

void print_streams(const RecordingInfo& info) {
    const reader::Report& report = info.report;
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
        if (report.packets.at(slot) == 0) continue;
        const reader::MapStream& stream = report.map.streams.at(slot);
        const bool shows_size = !info.sequence || map_differs(stream, *info.sequence);
        print_line(
            "stream",
            fmt::format("slot {}, id {:02X}, type {:02X}, \"{}\"{}, {}", slot, stream.id, stream.type,
                        cli::printable(stream.name),
                        shows_size ? fmt::format(", {}x{} in the map", stream.width, stream.height) : "",
                        cli::plural(report.packets.at(slot), "frame")));
    }
}

void print_video(const RecordingInfo& info) {
    if (const auto& sequence = info.sequence) {
        print_line("video", fmt::format("H.264 {}, level {}, {}x{}", h264::profile_name(*sequence),
                                        h264::level_name(*sequence), sequence->width, sequence->height));
    }
    if (info.report.frames == 0) return;
    const auto rate = info.frame_rate();
    print_line("duration",
               seconds_text(info.duration()) + (rate ? fmt::format(", {:.2f} frames/s", *rate) : ""));
}

std::vector<std::string> obstacles_of(const RecordingInfo& info) {
    std::vector<std::string> all = info.missing_sets;
    all.insert(all.end(), info.decode_obstacles.begin(), info.decode_obstacles.end());
    return all;
}

std::string decodable_text(const RecordingInfo& info) {
    if (info.decodable()) return "yes";
    if (info.decode_obstacles.empty())
        return fmt::format("with parameter sets of the camera: {}; export takes them from a clip",
                           fmt::join(info.missing_sets, "; "));
    return fmt::format("no: {}", fmt::join(obstacles_of(info), "; "));
}

std::string gaps_text(const RecordingInfo& info) {
    if (info.gaps == 0) return ", no gaps";
    return fmt::format(", {} ({} in total, longest {})", cli::plural(info.gaps, "gap"),
                       seconds_text(info.gap_time), seconds_text(info.longest_gap));
}

void print_text(const RecordingInfo& info) {
    const reader::Report& report = info.report;
    fmt::print("{}\n", cli::printable(report.path));
    print_streams(info);
    print_video(info);
    print_times(info);
    print_line("frames", fmt::format("{}, {}", report.frames, cli::plural(report.key_frames, "key frame")));
    print_line("spans", fmt::format("{}{}", report.spans(), gaps_text(info)));
    print_line("bytes", fmt::format("{}, {:.2f} % padding; index {}", report.data_size,
                                    info.padding_share() * 100, report.index_size));
    const auto bitrate = info.bitrate();
    print_line("bitrate", bitrate ? fmt::format("{:.0f} kbit/s", *bitrate / 1000) : "-");
    print_line("decodable", decodable_text(info));
    if (!report.verified())
        print_line("faults", fmt::format("{}; run norvanepi-ps verify to list them", report.faults.count()));
}

Json video_json(const std::optional<h264::SequenceParameterSet>& sequence) {
    if (!sequence) return {};
    return {{"codec", "H.264"},
            {"profile", h264::profile_name(*sequence)},
            {"level", h264::level_name(*sequence)},
            {"width", sequence->width},
            {"height", sequence->height}};
}

Json info_json(const RecordingInfo& info) {
    Json json = json_of(info.report);
    const auto bitrate = info.bitrate();
    const auto rate = info.frame_rate();
    json["zone_minutes"] = info.zone ? Json(*info.zone) : Json();
    json["path_contradicts"] = info.contradicts_path();
    json["gap_count"] = info.gaps;
    json["gap_ms"] = info.gap_time;
    json["longest_gap_ms"] = info.longest_gap;
    json["padding_bytes"] = info.report.padding;
    json["bits_per_second"] = bitrate ? Json(*bitrate) : Json();
    json["parameter_sets"] = info.parameter_sets;
    json["decodable"] = info.decodable();
    json["hindrances"] = obstacles_of(info);
    json["duration_ms"] = info.duration();
    json["frames_per_second"] = rate ? Json(*rate) : Json();
    json["video"] = video_json(info.sequence);
    return json;
}

}  // namespace

int run_info(const Options& options) {
    const auto json = json_list(options, "recordings");
    cli::UnusableInputs unusable(kProgram);
    bool ok = true;
    for_each_recording<RecordingInfo>(
        options, unusable, reader::recording_info, [&](const std::string&, const RecordingInfo& info) {
            json != nullptr ? json->add(info_json(info)) : print_text(info);
            const bool decodable = options.strict ? info.decodable() : info.decode_obstacles.empty();
            ok &= decodable && info.report.verified() && !info.contradicts_path();
        });
    if (json != nullptr) json->finish({{"unusable", unusable.json()}});
    return unusable.status(ok ? cli::kSuccess : cli::kFailure);
}

}  // namespace ps_tool
