// The command line. Only this file includes CLI11, which takes seconds to compile.

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "tools/cli/command_line.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/jobs.h"
#include "tools/ps/command.h"
#include "tools/reader/packet_time.h"

namespace ps_tool {
namespace {

using Action = int (*)(const Options&);

/// The placeholder represents the value in the help.
template <typename Value>
CLI::Option* add(CLI::App& command, const std::string& names, const std::string& placeholder, Value& value,
                 const std::string& description) {
    return command.add_option(names, value, description)->type_name(placeholder);
}

CLI::Option* add_time(CLI::App& command, const std::string& names, std::int64_t& instant,
                      const std::string& description) {
    const auto read = [&instant](const std::string& text) {
        const auto parsed = reader::parse_instant(text);
        if (!parsed) throw CLI::ValidationError(text + " is not a UTC time like 2018-06-22T16:05:09Z");
        instant = *parsed;
    };
    return command.add_option_function<std::string>(names, read, description)->type_name("TIME");
}

void add_paths(CLI::App& command, Options& options) {
    add(command, "PATH", "PATH", options.paths, "recordings, or directories with recordings")->required();
}

void add_jobs(CLI::App& command, Options& options) {
    options.jobs = cli::default_jobs();
    add(command, "--jobs", "N", options.jobs,
        "number of files to process at once (default: one per processor)")
        ->check(CLI::Range(1U, 1024U));
}

void add_json(CLI::App& command, Options& options) {
    command.add_flag("--json", options.json, "print the result as JSON");
}

/// Declares the subcommands in the order of the help.
void add_commands(CLI::App& app, Options& options, Action& chosen) {
    const auto add_command = [&](const char* name, const char* description, const char* example,
                                 Action action) -> CLI::App& {
        CLI::App& command = cli::add_command(app, name, description, example);
        command.callback([&chosen, action] { chosen = action; });
        return command;
    };

    CLI::App& info =
        add_command("info", "Shows the contents of recordings, and whether a player can decode them",
                    "norvanepi-ps info recordings/", run_info);
    add_paths(info, options);
    add_jobs(info, options);
    add_json(info, options);

    CLI::App& frames =
        add_command("frames", "Lists the frames of a recording from its index",
                    "norvanepi-ps frames --csv recordings/2018/06/22/16/0509-00A10380e.ps", run_frames);
    add(frames, "FILE", "FILE", options.recording, "a recording")->required();
    add_time(frames, "--from", options.range.from,
             "first time to list, for example 2018-06-22T16:05:09.000Z");
    add_time(frames, "--to", options.range.to, "list only frames before this time");
    frames.add_flag("--csv", options.csv, "print comma-separated values");

    CLI::App& verify = add_command("verify", "Checks that recordings follow the format",
                                   "norvanepi-ps verify recordings/", run_verify);
    add_paths(verify, options);
    add_jobs(verify, options);
    add_json(verify, options);
    verify.add_flag("--deep", options.deep, "also check the start codes and NAL unit types of the frames");

    CLI::App& repair =
        add_command("repair",
                    "Rebuilds the index of an interrupted recording from its data file and cuts off an "
                    "incomplete last packet. "
                    "Keeps the old files as .bak. Does not change recordings without faults",
                    "norvanepi-ps repair --dry-run recordings/", run_repair);
    add_paths(repair, options);
    add_jobs(repair, options);
    repair.add_flag("--dry-run", options.dry_run, "only print what would be done; exit status 1 if anything");
    add(repair, "--output", "FILE", options.out, "write the repaired recording there and keep the original");

    CLI::App& probe =
        add_command("probe",
                    "Shows how the module would convert an MP4 clip with the default and with the safe "
                    "profile, or why it would refuse it. The exit status is that of the default profile",
                    "norvanepi-ps probe front.mp4", run_probe);
    add(probe, "CLIP", "CLIP", options.paths, "MP4 clips")->required();
    add_jobs(probe, options);
    add_json(probe, options);

    CLI::App& convert = add_command(
        "convert",
        "Converts consecutive MP4 clips as the module does, without a host. Does not change the clips. "
        "Prints the path of each recording",
        "norvanepi-ps convert front.mp4 --start 2018-06-22T16:05:09Z --out recordings --identifier 10551296 "
        "--device 3 --name \"Front gate\"",
        run_convert);
    add(convert, "CLIP", "CLIP", options.paths,
        "MP4 clips; each starts when the previous one ends, rounded to a second")
        ->required();
    add_time(convert, "--start", options.start, "start of the first clip (UTC)")->required();
    add(convert, "--out", "DIR", options.out, "root of the output tree")->required();
    add(convert, "--identifier", "N", options.identifier, "devices identifier, part of the clip id");
    add(convert, "--device", "N", options.device, "device number, part of the clip id");
    add(convert, "--name", "S", options.name, "name of the camera input");
    add(convert, "--type", "N", options.type, "clip type, 1 or 3, which sets the recording kind")
        ->check(CLI::IsMember(std::vector<std::uint32_t>{1, 3}));
    add(convert, "--profile", "NAME", options.profile, "the module's profile: default or safe")
        ->check(CLI::IsMember(std::vector<std::string>{"default", "safe"}));
    convert.add_flag("--force", options.force, "replace an existing recording");

    CLI::App& exporter =
        add_command("export",
                    "Writes the recordings of one camera to one file for common players, without "
                    "re-encoding. Keeps gaps and key frames. Prints the path of the file",
                    "norvanepi-ps export recordings --out gate.mp4", run_export);
    add(exporter, "PATH", "PATH", options.paths, "recordings of one camera, or directories with recordings")
        ->required();
    add(exporter, "-o,--out", "FILE", options.out,
        "output file, .mp4, .mkv or .h264; - writes the H.264 stream to standard output")
        ->required();
    add_time(exporter, "--from", options.range.from, "start with the last key frame up to this time (UTC)");
    add_time(exporter, "--to", options.range.to, "end before the first key frame from this time on (UTC)");
    add(exporter, "--parameter-sets", "CLIP", options.parameter_sets,
        "MP4 clip of the same camera, for recordings without parameter sets");
    exporter.add_flag("--force", options.force, "replace an existing file");

    CLI::App& gaps = add_command(
        "gaps",
        "Lists what the module has still to fetch: open gaps, operations, and those that failed. Reads "
        "its state file or, while a host runs, its journal",
        "norvanepi-ps gaps /var/lib/recorder/norvanepi_journal", run_gaps);
    add(gaps, "FILE", "FILE", options.paths, "norvanepi_state.xml or norvanepi_journal")->required();
    add_json(gaps, options);

    CLI::App& report =
        add_command("report",
                    "Writes an HTML page about recordings: a time line of each camera, coverage, gaps, "
                    "bitrate curves and the faults that verify finds",
                    "norvanepi-ps report recordings --out report.html", run_report);
    add(report, "PATH", "PATH", options.paths, "recordings, or directories with recordings");
    add(report, "--from", "FILE", options.documents, "output of verify --json, from this recorder or others");
    add(report, "--transcript", "FILE", options.transcript,
        "transcript of norvanepi-recorder; adds an account of lost time");
    add(report, "-o,--out", "FILE", options.out, "output file; - is standard output")->required();
    add_jobs(report, options);
}

}  // namespace

int run(int argc, const char* const* argv) {
    CLI::App app("", kProgram);
    cli::describe_program(
        app,
        "Inspects, checks, repairs and exports recordings. A recording is a data file, NAME.ps, and "
        "its index, NAME.psi, next to it; a directory names every recording below it.",
        "0 success; 1 a fault or a refused file was found; 2 wrong usage, or it could not run.");
    Options options;
    Action chosen = nullptr;
    add_commands(app, options, chosen);
    return cli::parse(app, argc, argv) ? chosen(options) : cli::kSuccess;
}

}  // namespace ps_tool
