// norvanepi-ps export: recordings as files that every player opens.

#include <fmt/format.h>

#include <filesystem>
#include <memory>

#include "tools/cli/command_line.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/recording_paths.h"
#include "tools/ps/command.h"
#include "tools/ps/export/clip_parameter_sets.h"
#include "tools/ps/export/export_sink.h"
#include "tools/ps/program.h"
#include "tools/ps/time_option.h"
#include "tools/reader/recording.h"

namespace ps_tool {
namespace {

struct ExportOptions {
    std::vector<std::string> paths;
    std::string out;
    TimeRange range;
    std::string parameter_sets;  // a clip; empty for none
    bool force = false;
};

std::unique_ptr<ExportSink> make_sink(const std::string& out, const Selection& selection) {
    const std::string form = std::filesystem::path(out).extension().string();
    if (out == "-" || form == ".h264") return make_elementary_sink(out, selection);
    return make_container_sink(out, selection);
}

void check_output(const ExportOptions& options) {
    const std::string form = std::filesystem::path(options.out).extension().string();
    if (options.out != "-" && form != ".h264" && form != ".mp4" && form != ".mkv")
        throw cli::CannotRun(options.out + " ends in none of .h264, .mp4 and .mkv");
    if (options.out != "-" && !options.force && std::filesystem::exists(options.out))
        throw cli::CannotRun(options.out + " is there already; --force replaces it");
}

void write_frames(const Selection& selection, ExportSink& sink) {
    std::unique_ptr<reader::Recording> recording;
    std::size_t opened = selection.recordings.size();
    std::vector<platform::Byte> bytes;
    for (const ExportFrame& frame : selection.frames) {
        if (!recording || opened != frame.recording) {
            opened = frame.recording;
            recording = std::make_unique<reader::Recording>(selection.recordings.at(opened));
        }
        bytes.assign(frame.size + kReadBeyond, 0);
        const auto payload = std::span(bytes).first(frame.size);
        if (!recording->read_data(frame.payload_at, payload))
            throw std::runtime_error(recording->data_path() + " has changed meanwhile");
        sink.write(frame, payload);
    }
    sink.finish();
}

/// A file that is not whole is worse than none.
void write_out(const Selection& selection, const std::string& out) {
    const auto sink = make_sink(out, selection);
    try {
        write_frames(selection, *sink);
    } catch (...) {
        std::error_code ignored;
        if (out != "-") std::filesystem::remove(out, ignored);
        throw;
    }
    if (out != "-") fmt::print("{}\n", out);
}

int run_export(const ExportOptions& options) {
    check_output(options);
    try {
        const GivenSets given =
            options.parameter_sets.empty() ? GivenSets() : parameter_sets_of(options.parameter_sets);
        Selection selection = select_frames(cli::recording_paths(options.paths), options.range, given);
        give_presentation_times(selection.frames);
        write_out(selection, options.out);
        for (const std::string& remark : selection.remarks) fmt::print(stderr, "{}: {}\n", kProgram, remark);
    } catch (const reader::CannotOpen& error) {
        throw cli::CannotRun(error.what());
    } catch (const Refused& refusal) {
        cli::print_error(kProgram, refusal.what());
        return cli::kFailure;
    }
    return cli::kSuccess;
}

}  // namespace

Command add_export(CLI::App& program) {
    const auto options = std::make_shared<ExportOptions>();
    CLI::App& command = cli::add_command(program, "export",
                                         "Writes recordings of one camera into a file that every player "
                                         "opens, the pictures untouched. Gaps stay gaps; "
                                         "key frames can be jumped to; the path goes to standard output",
                                         "norvanepi-ps export recordings --out gate.mp4");
    command.add_option("PATH", options->paths, "recordings of one camera, and directories of them")
        ->required()
        ->type_name("PATH");
    command
        .add_option(
            "-o,--out", options->out,
            "the file, by its ending: .mp4, .mkv or .h264; - writes the bare stream to standard output")
        ->required()
        ->type_name("FILE");
    add_time(command, "--from", options->range.from, "begin with the last key frame up to this time (UTC)");
    add_time(command, "--to", options->range.to, "end before the first key frame from this time on (UTC)");
    command
        .add_option("--parameter-sets", options->parameter_sets,
                    "an MP4 clip of the same camera, for recordings that have no parameter sets")
        ->type_name("CLIP");
    command.add_flag("--force", options->force, "replace a file that is there already");
    return {&command, [options] { return run_export(*options); }};
}

}  // namespace ps_tool
