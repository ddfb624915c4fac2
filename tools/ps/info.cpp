// norvanepi-ps info: shows the contents of recordings, and whether a player can decode them.

#include <fmt/format.h>

#include <memory>
#include <optional>

#include "tools/cli/exit_status.h"
#include "tools/cli/plural.h"
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

void print_streams(const reader::Report& report) {
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
        if (report.packets.at(slot) == 0) continue;
        const reader::MapStream& stream = report.map.streams.at(slot);
        print_line("stream", fmt::format("slot {}, id {:02X}, type {:02X}, \"{}\", {}x{}, {} frames", slot,
                                         stream.id, stream.type, stream.name, stream.width, stream.height,
                                         report.packets.at(slot)));
    }
}

std::string gaps_text(const RecordingInfo& info) {
    if (info.gaps == 0) return ", no gaps";
    return fmt::format(", {} ({} in total, longest {})", cli::plural(info.gaps, "gap"),
                       seconds_text(info.gap_time), seconds_text(info.longest_gap));
}

void print_text(const RecordingInfo& info) {
    const reader::Report& report = info.report;
    fmt::print("{}\n", report.path);
    print_streams(report);
    print_times(info);
    print_line("frames", fmt::format("{}, {} key frames", report.frames, report.key_frames));
    print_line("spans", fmt::format("{}{}", report.spans(), gaps_text(info)));
    print_line("bytes", fmt::format("{}, {:.2f} % padding; index {}", report.data_size,
                                    info.padding_share() * 100, report.index_size));
    const auto bitrate = info.bitrate();
    print_line("bitrate", bitrate ? fmt::format("{:.0f} kbit/s", *bitrate / 1000) : "-");
    print_line("decodable",
               info.decodable() ? "yes" : fmt::format("no: {}", fmt::join(info.decode_obstacles, "; ")));
    if (!report.verified())
        print_line("faults", fmt::format("{}; run norvanepi-ps verify to list them", report.faults.count()));
}

Json info_json(const RecordingInfo& info) {
    Json json = json_of(info.report);
    const auto bitrate = info.bitrate();
    json["zone_minutes"] = info.zone ? Json(*info.zone) : Json();
    json["path_contradicts"] = info.contradicts_path();
    json["gap_count"] = info.gaps;
    json["gap_ms"] = info.gap_time;
    json["longest_gap_ms"] = info.longest_gap;
    json["padding_bytes"] = info.report.padding;
    json["bits_per_second"] = bitrate ? Json(*bitrate) : Json();
    json["parameter_sets"] = info.parameter_sets;
    json["decodable"] = info.decodable();
    json["hindrances"] = info.decode_obstacles;
    return json;
}

}  // namespace

int run_info(const Options& options) {
    std::optional<cli::JsonList> json;
    if (options.json) json.emplace(stdout, "recordings");
    bool ok = true;
    for_each_recording<RecordingInfo>(
        options, reader::recording_info, [&](const std::string&, const RecordingInfo& info) {
            json ? json->add(info_json(info)) : print_text(info);
            ok &= info.decodable() && info.report.verified() && !info.contradicts_path();
        });
    if (json) json->finish();
    return ok ? cli::kSuccess : cli::kFailure;
}

}  // namespace ps_tool
