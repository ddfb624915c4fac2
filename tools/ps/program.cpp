// The command line. Only this file includes CLI11, which takes seconds to compile.

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "tools/cli/command_line.h"
#include "tools/cli/duration.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/jobs.h"
#include "tools/ps/command.h"
#include "tools/ps/time_argument.h"

namespace ps_tool {
namespace {

using Action = int (*)(const Options&);

/// The placeholder represents the value in the help.
template <typename Value>
CLI::Option* add(CLI::App& command, const std::string& names, const std::string& placeholder, Value& value,
                 const std::string& description) {
    return command.add_option(names, value, description)->type_name(placeholder);
}

/// Declared before the times, and so read before them.
void add_zone(CLI::App& command, Zone& zone, bool* given = nullptr) {
    const auto read = [&zone, given](const std::string& text) {
        const auto parsed = Zone::parse(text);
        if (!parsed) throw CLI::ValidationError(text + " is not UTC, local or an offset like +02:00");
        zone = *parsed;
        if (given != nullptr) *given = true;
    };
    command
        .add_option_function<std::string>(
            "--zone", read, "zone of times without one: UTC (default), local, or an offset like +02:00")
        ->type_name("ZONE");
}

CLI::Option* add_time(CLI::App& command, const std::string& names, std::int64_t& instant, const Zone& zone,
                      const std::string& description) {
    const auto read = [&instant, &zone](const std::string& text) {
        const auto parsed = parse_time(text, zone, now_milliseconds());
        if (!parsed)
            throw CLI::ValidationError(text + " is not a time like 2018-06-22T16:05:09Z, yesterday or today");
        instant = *parsed;
    };
    return command.add_option_function<std::string>(names, read, description)->type_name("TIME");
}

/// For commands that look at recordings as a whole.
void add_range(CLI::App& command, Options& options, Zone& zone) {
    add_zone(command, zone);
    add_time(command, "--from", options.range.from, zone, "only recordings with frames from this time on");
    add_time(command, "--to", options.range.to, zone, "only recordings with frames before this time");
}

/// --documents was called --from once, and files are still accepted there.
void add_from_or_documents(CLI::App& report, Options& options, const Zone& zone) {
    const auto read = [&](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            if (const auto instant = parse_time(text, zone, now_milliseconds()))
                options.range.from = *instant;
            else
                options.documents.push_back(text);
        }
    };
    report
        .add_option_function<std::vector<std::string>>(
            "--from", read, "start of the only period that the page shows; a FILE here is one of --documents")
        ->type_name("TIME");
}

CLI::Option* add_duration(CLI::App& command, const std::string& names, std::int64_t& duration,
                          const std::string& description) {
    const auto read = [&duration](const std::string& text) {
        const auto parsed = cli::parse_duration(text);
        if (!parsed) throw CLI::ValidationError(text + " is not a duration like 500ms, 5s, 10min, 24h or 7d");
        duration = *parsed;
    };
    return command.add_option_function<std::string>(names, read, description)->type_name("DURATION");
}

void add_stills(CLI::App& report, Options& options) {
    CLI::Option* const stills = report.add_flag(
        "--stills", options.stills,
        "add small pictures of the key frames at regular times and before and after each gap; "
        "needs libavcodec");
    const auto is_positive = [](const std::string& text) {
        return cli::parse_duration(text) == 0 ? "a duration of 0 is too short" : "";
    };
    add_duration(report, "--stills-every", options.stills_every,
                 "time from one picture of a camera to the next (default: 10min)")
        ->check(CLI::Validator(is_positive, ""))
        ->needs(stills);
    // The largest size also refuses negative numbers, which the conversion wraps around.
    constexpr std::uint64_t kMaxBudget = 1'000'000'000'000;
    add(report, "--stills-budget", "SIZE", options.stills_budget,
        "size of all pictures together, for example 500KB or 20MB (the default); more are shown smaller, and "
        "then fewer")
        ->transform(CLI::AsSizeValue(true).description(""))
        ->check(CLI::Range(std::uint64_t{0}, kMaxBudget).description(""))
        ->needs(stills);
}

void add_paths(CLI::App& command, Options& options) {
    add(command, "PATH", "PATH", options.paths, "recordings, or directories with recordings")->required();
}

void add_jobs(CLI::App& command, Options& options) {
    options.jobs = cli::default_jobs();
    add(command, "-j,--jobs", "N", options.jobs,
        "number of files to process at once (default: one per processor)")
        ->check(CLI::Range(1U, 1024U));
}

void add_json(CLI::App& command, Options& options) {
    CLI::Option* const json = command.add_flag("--json", options.json, "print the result as a JSON document");
    command.add_flag("--ndjson", options.ndjson, "print one line of JSON per result")->excludes(json);
}

void add_cache(CLI::App& command, Options& options) {
    add(command, "--cache", "DIR", options.cache,
        "keep what was read there, and read a recording again only if its size or time has changed; the "
        "directory may be deleted at any time");
}

/// Declares the subcommands in the order of the help.
void add_commands(CLI::App& app, Options& options, Zone& zone, Action& chosen) {
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
    add_range(info, options, zone);
    info.add_flag("--strict", options.strict, "exit status 1 also for recordings without parameter sets");

    CLI::App& frames =
        add_command("frames", "Lists the frames of a recording from its index",
                    "norvanepi-ps frames --csv recordings/2018/06/22/16/0509-00A10380e.ps", run_frames);
    add(frames, "FILE", "FILE", options.recording, "a recording")->required();
    add_zone(frames, zone);
    add_time(frames, "--from", options.range.from, zone,
             "first time to list, for example 2018-06-22T16:05:09.000Z");
    add_time(frames, "--to", options.range.to, zone, "list only frames before this time");
    CLI::Option* const csv = frames.add_flag("--csv", options.csv, "print comma-separated values");
    add_json(frames, options);
    csv->excludes("--json")->excludes("--ndjson");
    frames.add_flag("--payloads", options.payloads,
                    "also read the frames: their NAL unit types, picture type and SHA-256");

    CLI::App& verify = add_command("verify", "Checks that recordings follow the format",
                                   "norvanepi-ps verify recordings/", run_verify);
    add_paths(verify, options);
    add_jobs(verify, options);
    add_json(verify, options);
    add_range(verify, options, zone);
    verify.add_flag("-q,--quiet", options.quiet, "print only recordings with faults");
    verify.add_flag("--deep", options.deep, "also check the start codes and NAL unit types of the frames");

    CLI::App& repair = add_command(
        "repair",
        "Corrects wrong fields of the data file if the index and the other packets tell what is "
        "right, rebuilds the index, and cuts off an incomplete last packet. Keeps what it replaces "
        "in files that end with .bak. Does not change recordings without faults",
        "norvanepi-ps repair --dry-run recordings/", run_repair);
    add_paths(repair, options);
    add_jobs(repair, options);
    add_json(repair, options);
    repair.add_flag("--dry-run", options.dry_run, "only print what would be done; exit status 1 if anything");
    add(repair, "--trust", "SOURCE", options.trust,
        "what is right where a packet and the index contradict each other: data, index, or evidence (the "
        "default), which is whichever leaves fewer faults; refuses if they leave the same number")
        ->check(CLI::IsMember(std::vector<std::string>{"data", "index", "evidence"}));
    CLI::Option* const output = add(
        repair, "--output", "FILE", options.out,
        "write the repaired recording there, NAME.ps, and keep the original; saves every intact packet of "
        "a recording that cannot be repaired. Refuses the recording itself and existing files");
    repair
        .add_flag("--no-backup", options.no_backup,
                  "keep nothing of what is replaced or cut off, for a full disk: what the repair frees makes "
                  "room for the new index. Cannot be undone")
        ->excludes(output);
    repair.add_flag("--force", options.force, "with --output, replace an existing recording");

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
    add_zone(convert, zone);
    add_time(convert, "--start", options.start, zone, "start of the first clip (UTC)")->required();
    add(convert, "--out", "DIR", options.out, "root of the output tree")->required();
    add(convert, "--identifier", "N", options.identifier, "devices identifier, part of the clip id");
    add(convert, "--device", "N", options.device, "device number, part of the clip id");
    add(convert, "--name", "S", options.name, "name of the camera input");
    add(convert, "--type", "N", options.type, "clip type, 1 or 3, which sets the recording kind")
        ->check(CLI::IsMember(std::vector<std::uint32_t>{1, 3}));
    add(convert, "--profile", "NAME", options.profile, "the module's profile: default or safe")
        ->check(CLI::IsMember(std::vector<std::string>{"default", "safe"}));
    add_json(convert, options);
    convert.add_flag("--force", options.force, "replace an existing recording");

    CLI::App& exporter =
        add_command("export",
                    "Writes the recordings of a camera to one file for common players, without "
                    "re-encoding. Keeps gaps and key frames. Prints the path of the file",
                    "norvanepi-ps export recordings --out gate.mp4", run_export);
    add(exporter, "PATH", "PATH", options.paths, "recordings, or directories with recordings")->required();
    add(exporter, "-o,--out", "FILE", options.out,
        "output file, .mp4, .mkv or .h264; - is standard output, and an H.264 stream by default");
    add(exporter, "--output-dir", "DIR", options.output_dir,
        "write one file for each camera, ID-NAME.mp4, into this directory instead");
    add(exporter, "--camera", "ID|NAME", options.camera, "export only this camera, by its clip id or name");
    add(exporter, "--format", "NAME", options.format,
        "mp4, mkv or h264 (default: by the extension; mp4 with --output-dir)")
        ->check(CLI::IsMember(std::vector<std::string>{"mp4", "mkv", "h264"}));
    add_zone(exporter, zone);
    add_time(exporter, "--from", options.range.from, zone, "start with the last key frame up to this time");
    add_time(exporter, "--to", options.range.to, zone, "end before the first key frame from this time on");
    add(exporter, "--parameter-sets", "CLIP", options.parameter_sets,
        "MP4 clip of the same camera, for recordings without parameter sets");
    exporter.add_flag("--hash", options.hash,
                      "also write FILE.sha256, a manifest for sha256sum --check with the SHA-256 of the file "
                      "and of both files of each recording in it");
    add_json(exporter, options);
    exporter.add_flag("--force", options.force, "replace existing files, but never a recording");

    CLI::App& gaps = add_command(
        "gaps",
        "Lists what the module has still to fetch: open gaps, operations, and those that failed. Reads "
        "its state file or, while a host runs, its journal",
        "norvanepi-ps gaps /var/lib/recorder/norvanepi_journal", run_gaps);
    add(gaps, "FILE", "FILE", options.paths, "norvanepi_state.xml or norvanepi_journal")->required();
    add_json(gaps, options);

    CLI::App& report =
        add_command("report",
                    "Writes an HTML page that tells whether a day, a week or a month is complete on all "
                    "cameras, with a time line, the gaps, bitrate curves and the faults that verify finds",
                    "norvanepi-ps report recordings --out report.html", run_report);
    add(report, "PATH", "PATH", options.paths, "recordings, or directories with recordings");
    add_zone(report, zone, &options.zone_given);
    add(report, "--period", "PERIOD", options.period,
        "the page opens with the last complete day (default), week or month")
        ->check(CLI::IsMember({"day", "week", "month"}));
    add_from_or_documents(report, options, zone);
    add_time(report, "--to", options.range.to, zone, "end of the only period that the page shows");
    add_duration(report, "--minimum-gap", options.minimum_gap,
                 "list only gaps of this length; shorter ones are still missing time (default: 5s)");
    add(report, "--documents", "FILE", options.documents,
        "output of verify --json, from this recorder or others");
    add(report, "--transcript", "FILE", options.transcript,
        "transcript of norvanepi-recorder; adds an account of lost time");
    add_stills(report, options);
    add(report, "--log", "FILE", options.logs,
        "log of a host with documents or log texts of the module; adds an account of lost time");
    add(report, "-o,--out", "FILE", options.out, "output file; - is standard output")->required();
    report.add_flag("--force", options.force, "replace an existing file, but never a recording");
    report.add_flag("--watch", options.watch,
                    "rewrite the page when recordings change, at most every 30 seconds, until Ctrl-C");
    add_jobs(report, options);

    CLI::App& coverage =
        add_command("coverage",
                    "Shows the recorded and the missing time of each camera, the camera with the longest "
                    "missing time first. The exit status is 1 if a camera misses as much as --minimum-gap",
                    "norvanepi-ps coverage recordings", run_coverage);
    add_paths(coverage, options);
    add_zone(coverage, zone);
    add_time(coverage, "--from", options.range.from, zone,
             "start of the period; default: the oldest frame of all cameras");
    add_time(coverage, "--to", options.range.to, zone,
             "end of the period; default: the end of the newest frame of all cameras");
    add_duration(coverage, "--minimum-gap", options.minimum_gap,
                 "list only gaps of this length, for example 10min; shorter ones are still missing time "
                 "(default: 5s)");
    add_cache(coverage, options);
    add_jobs(coverage, options);
    add_json(coverage, options);

    CLI::App& metrics = add_command(
        "metrics",
        "Prints metrics about each camera in the text format of Prometheus and OpenMetrics: "
        "coverage and gaps of the last day, sizes, faults, and what the module has still to fetch",
        "norvanepi-ps metrics recordings", run_metrics);
    add_paths(metrics, options);
    add(metrics, "-o,--output", "FILE", options.out,
        "replace FILE, for example norvanepi.prom, instead of writing to standard output; refuses a file "
        "without metrics");
    add_duration(metrics, "--window", options.window, "length of the window (default: 24h)");
    add_zone(metrics, zone);
    add_time(metrics, "--to", options.range.to, zone, "end of the window; default: now");
    add_duration(metrics, "--minimum-gap", options.minimum_gap,
                 "count only gaps of this length; shorter ones are still missing time (default: 5s)");
    add(metrics, "--state", "FILE", options.state,
        "norvanepi_state.xml or norvanepi_journal; adds open gaps and operations");
    add_cache(metrics, options);
    add_jobs(metrics, options);
}

}  // namespace

std::unique_ptr<cli::JsonList> json_list(const Options& options, const std::string& name) {
    if (!options.json && !options.ndjson) return nullptr;
    return std::make_unique<cli::JsonList>(stdout, name,
                                           options.ndjson ? cli::JsonForm::kLines : cli::JsonForm::kDocument);
}

int run(int argc, const char* const* argv) {
    CLI::App app("", kProgram);
    cli::describe_program(
        app,
        "Inspects, checks, repairs and exports recordings. A recording is a data file, NAME.ps, and "
        "its index, NAME.psi, next to it; a directory names every recording below it.",
        "0 success; 1 a fault or a refused file was found; 2 wrong usage, or it could not run.");
    Options options;
    Action chosen = nullptr;
    add_commands(app, options, options.zone, chosen);
    return cli::parse(app, argc, argv) ? chosen(options) : cli::kSuccess;
}

}  // namespace ps_tool
