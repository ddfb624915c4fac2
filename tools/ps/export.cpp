// norvanepi-ps export: writes recordings to files for common players.

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>
#include <optional>
#include <set>

#include "platform/temporary_file.h"
#include "platform/terminal.h"
#include "platform/text.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/json_list.h"
#include "tools/cli/printable.h"
#include "tools/cli/progress_bar.h"
#include "tools/cli/recording_paths.h"
#include "tools/ps/command.h"
#include "tools/ps/coverage/recording_facts.h"
#include "tools/ps/export/export_sink.h"
#include "tools/ps/export/manifest.h"
#include "tools/reader/recording.h"

namespace ps_tool {
namespace {

using cli::Json;

/// In ms. A sample of an MP4 file lasts until the next one, and libavformat stores 31 bits of its duration,
/// also in fragments. An edit list could hold a longer gap, but libavformat only writes one edit of a track's
/// media.
constexpr std::int64_t kLongestMp4Gap = std::numeric_limits<std::int32_t>::max() - 1;

/// The value of --format, or else the one of the file's extension.
std::string format_name(const Options& options) {
    if (!options.format.empty()) return options.format;
    if (!options.output_dir.empty()) return "mp4";
    if (options.out == "-") return "h264";
    const std::string extension = platform::narrow_text(platform::path_of(options.out).extension());
    return extension.empty() ? "" : extension.substr(1);
}

ExportFormat format_of(const Options& options) {
    const std::string name = format_name(options);
    if (name == "mp4") return ExportFormat::kMp4;
    if (name == "mkv") return ExportFormat::kMkv;
    if (name == "h264") return ExportFormat::kH264;
    throw cli::CannotRun(options.out + ": unknown extension; use .h264, .mp4 or .mkv");
}

std::string manifest_path(const std::string& export_path) {
    return export_path + ".sha256";
}

void check_outputs(const Options& options, const std::string& out) {
    cli::check_output(out, cli::replace_if(options.force));
    if (options.hash) cli::check_output(manifest_path(out), cli::replace_if(options.force));
}

void check_options(const Options& options) {
    if (options.out.empty() == options.output_dir.empty())
        throw cli::CannotRun("give either --out or --output-dir");
    const ExportFormat format = format_of(options);
    if (!options.out.empty()) check_outputs(options, options.out);
    if (options.out != "-") return;
    if (format == ExportFormat::kMp4)
        throw cli::CannotRun("an .mp4 file cannot be written to standard output; use --format mkv");
    if (options.json || options.ndjson || options.hash)
        throw cli::CannotRun("--json and --hash need a file; standard output is the export");
}

std::string in_shell(const std::string& path) {
    const std::string file = path.starts_with('-') ? "./" + path : path;
    std::string quoted = "'";
    for (const char c : file) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

Json time_or_null(std::int64_t instant) {
    const auto time = reader::packet_time_of(instant);
    return time ? Json(reader::rfc3339(*time)) : Json();
}

/// What becomes of one camera.
struct CameraExport {
    Camera camera;
    std::string path;
    std::optional<Selection> selection;
    std::string error;  // empty if the file is complete
    int status = cli::kSuccess;
    std::string sha256;  // empty without --hash
    std::uint64_t bytes = 0;
};

Json json_of_export(const CameraExport& made) {
    Json json;
    cli::add_path(json, made.path);
    json["camera"] = {{"id", made.camera.id.empty() ? Json() : Json(made.camera.id)},
                      {"name", made.camera.name}};
    json["error"] = made.error.empty() ? Json() : Json(made.error);
    json["bytes"] = made.bytes;
    json["sha256"] = made.sha256.empty() ? Json() : Json(made.sha256);
    const Selection nothing;
    const Selection& selection = made.selection ? *made.selection : nothing;
    json["frames"] = selection.frames.size();
    json["key_frames"] = std::ranges::count_if(selection.frames, &ExportFrame::key);
    json["spans"] = Json::array();
    for (const RecordedSpan& span : selection.spans)
        json["spans"].push_back(
            {{"begin", time_or_null(span.recorded.begin)}, {"end", time_or_null(span.recorded.end)}});
    json["recordings"] = Json::array();
    for (const std::size_t used : selection.used_recordings())
        cli::add_path(json["recordings"].emplace_back(), selection.camera.recordings.at(used).path);
    json["warnings"] = selection.warnings;
    return json;
}

class Exporter {
  public:
    Exporter(const Options& options, ParameterSetUnits given)
        : options_(options), given_(std::move(given)), format_(format_of(options)) {}

    /// Reports failures in the result.
    CameraExport write(const Camera& camera) {
        CameraExport made;
        made.camera = camera;
        made.path = path_of(camera);
        try {
            check_outputs(options_, made.path);
            if (!paths_.insert(made.path).second)
                throw cli::CannotRun(made.path + ": the file name of another camera too; use --camera");
            made.selection = select_frames(camera, options_.range, given_, [&](double fraction) {
                bar_.show("reading " + camera.label(), fraction);
            });
            set_times(*made.selection);
            if (format_ == ExportFormat::kMp4) limit_gaps(*made.selection, kLongestMp4Gap);
            write_file(made);
        } catch (const ExportRefused& refusal) {
            made.error = (options_.output_dir.empty() ? "" : camera.label() + ": ") + refusal.what();
            made.status = cli::kFailure;
        } catch (const std::runtime_error& error) {
            made.error = error.what();
            made.status = cli::kCannotRun;
        }
        bar_.clear();
        return made;
    }

  private:
    [[nodiscard]] std::string path_of(const Camera& camera) const {
        if (options_.output_dir.empty()) return options_.out;
        const std::string name =
            camera.id + (camera.id.empty() || camera.name.empty() ? "" : "-") + camera.name;
        const std::string file = platform::file_name_of(name + "." + format_name(options_));
        return platform::narrow_text(platform::path_of(options_.output_dir) / file);
    }

    void write_file(CameraExport& made) {
        std::optional<Manifest> manifest;
        if (options_.hash) manifest.emplace(bar_);
        const cli::Replace replace = cli::replace_if(options_.force);
        cli::OutputFile file(made.path, replace);
        write_frames(*made.selection, file);
        if (manifest) {
            file.flush();
            add_inputs(*made.selection, *manifest);
            made.sha256 = manifest->add(made.path, file.temporary_path());
            cli::OutputFile list(manifest_path(made.path), replace);
            list.write(manifest->text());
            list.sync();
            file.sync();
            complete_both(list, file);
        } else {
            file.complete();
        }
        if (const auto complete = platform::system_files().open_input(made.path))
            made.bytes = complete->size();
    }

    /// The manifest first: after a kill in between, it shows that its file is not there.
    static void complete_both(cli::OutputFile& list, cli::OutputFile& file) {
        const platform::DelayedTermination delayed;
        const bool is_new = !platform::system_files().open_input(list.path());
        list.complete();
        try {
            file.complete();
        } catch (...) {
            if (is_new) (void)platform::system_files().remove_file(list.path());
            throw;
        }
    }

    void write_frames(const Selection& selection, cli::OutputFile& file) {
        const auto sink = format_ == ExportFormat::kH264 ? make_elementary_sink(file, selection)
                                                         : make_container_sink(file, format_, selection);
        std::unique_ptr<reader::Recording> recording;
        std::size_t opened = selection.camera.recordings.size();
        std::vector<platform::Byte> bytes;
        std::size_t done = 0;
        for (const ExportFrame& frame : selection.frames) {
            if (!recording || opened != frame.recording) {
                opened = frame.recording;
                recording = std::make_unique<reader::Recording>(selection.camera.recordings.at(opened).path);
            }
            bytes.assign(frame.size + kReadPadding, 0);
            const auto payload = std::span(bytes).first(frame.size);
            if (!recording->read_data(frame.payload_at, payload))
                throw cli::CannotRun(recording->data_path() + ": changed during the export");
            sink->write(frame, payload);
            if (file.path() == "-") continue;  // a player at the other end draws on the terminal too
            bar_.show("writing " + file.path(),
                      static_cast<double>(++done) / static_cast<double>(selection.frames.size()));
        }
        sink->finish();
    }

    /// All inputs of the export.
    void add_inputs(const Selection& selection, Manifest& manifest) const {
        for (const std::size_t used : selection.used_recordings()) {
            const std::string& data = selection.camera.recordings.at(used).path;
            manifest.add(data);
            if (platform::system_files().open_input(data + "i")) manifest.add(data + "i");
        }
        if (!options_.parameter_sets.empty()) manifest.add(options_.parameter_sets);
    }

    const Options& options_;
    ParameterSetUnits given_;
    ExportFormat format_;
    std::set<std::string> paths_;  // of all files, because several names can have the same file name
    cli::ProgressBar bar_{stderr};
};

void print_result(const Options& options, const CameraExport& made) {
    const bool complete = made.error.empty();
    if (complete && options.out != "-" && !options.json && !options.ndjson) {
        fmt::print("{}\n", cli::printable(made.path));
        cli::flush_output();
    }
    if (made.selection) {
        for (const std::string& warning : made.selection->warnings)
            cli::print_message(fmt::format("{}: {}", kProgram, cli::printable(warning, stderr)));
    }
    if (!complete) {
        cli::print_error(kProgram, made.error);
    } else if (options.out != "-" && !options.quiet && platform::is_terminal(stderr)) {
        fmt::print(stderr, "play with: mpv {0}\n       or: ffplay {0}\n", in_shell(made.path));
    }
}

/// An id can be that of several cameras. Throws cli::CannotRun if they recorded at the same time.
void require_one_camera(const Options& options, const Camera& chosen) {
    std::vector<std::string> paths;
    for (const CameraRecording& recording : chosen.recordings) paths.push_back(recording.path);
    cli::UnusableInputs named_before(kProgram);
    std::vector<RecordingFacts> facts = read_facts({paths, options.jobs, ""}, named_before);
    std::erase_if(facts, [&](const RecordingFacts& one) {
        return std::ranges::none_of(one.spans, [&](const FrameSpan& span) {
            return span.first < options.range.to && span.end > options.range.from;
        });
    });
    const Coverage coverage = coverage_of(facts, {});
    if (coverage.cameras.size() < 2) return;
    std::vector<std::string> names;
    for (const CameraCoverage& camera : coverage.cameras) names.push_back('"' + camera.label() + '"');
    throw cli::CannotRun(fmt::format("--camera {}: {} recorded at the same time; use a name or --output-dir",
                                     options.camera, fmt::join(names, " and ")));
}

/// The cameras to export. Throws cli::CannotRun if several would be mixed.
std::vector<Camera> chosen_cameras(const Options& options, std::vector<Camera> cameras) {
    if (!options.camera.empty()) {
        Camera chosen = choose_camera(cameras, options.camera);
        if (std::ranges::count(cameras, chosen.id, &Camera::id) > 1) require_one_camera(options, chosen);
        return {std::move(chosen)};
    }
    if (cameras.size() > 1 && options.output_dir.empty()) {
        throw cli::CannotRun(
            fmt::format("recordings of {} cameras: {}; choose one with --camera, or write one file each with "
                        "--output-dir",
                        cameras.size(), list_of(cameras)));
    }
    return cameras;
}

}  // namespace

int run_export(const Options& options) {
    check_options(options);
    int status = cli::kSuccess;
    cli::UnusableInputs unusable(kProgram);
    std::optional<ParameterSetUnits> given;
    try {
        if (!options.parameter_sets.empty()) given = parameter_sets_of(options.parameter_sets);
    } catch (const ExportRefused& refusal) {
        cli::print_error(kProgram, refusal.what());
        return cli::kFailure;
    }
    std::vector<Camera> cameras = cameras_of(cli::recording_paths(options.paths, unusable), unusable);
    if (!cameras.empty()) cameras = chosen_cameras(options, std::move(cameras));
    if (!options.output_dir.empty()) {
        if (const auto error = platform::system_files().make_directory(
                options.output_dir, platform::FileSystem::Existing::kDirectory))
            throw cli::CannotRun(options.output_dir + ": cannot be created: " + error.message());
    }
    Exporter exporter(options, given.value_or(ParameterSetUnits()));
    const auto list = json_list(options, "exports");
    for (const Camera& camera : cameras) {
        const CameraExport made = exporter.write(camera);
        print_result(options, made);
        status = std::max(status, made.status);
        if (list) list->add(json_of_export(made));
    }
    if (list) list->finish({{"unusable", unusable.json()}});
    return unusable.status(status);
}

}  // namespace ps_tool
