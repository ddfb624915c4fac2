#include <algorithm>
#include <cstdio>
#include <fstream>
#include <optional>

#include <fmt/format.h>
#include <boost/process/args.hpp>
#include <boost/process/child.hpp>
#include <boost/process/environment.hpp>
#include <boost/process/exe.hpp>

#include "tools/cli/exit_status.h"
#include "tools/host_kit/module_library.h"
#include "tools/recorder/crash/crash.h"
#include "tools/recorder/host/module_fault.h"
#include "tools/recorder/host/options.h"
#include "tools/recorder/scenarios/scenarios.h"
#include "tools/recorder/scenarios/soak.h"
#include "tools/recorder/scenarios/summary.h"
#include "tools/recorder/validate/suite.h"

namespace recorder {
namespace {

namespace fs = std::filesystem;

/// Written by the first process of `restart`.
fs::path restart_state_file(const WorkingDirectory& directory) {
    return directory.path() / "restart-state.cbor";
}

/// Refuses clips that clearing the working directory would remove, names that XML cannot contain, and a
/// transcript in a missing directory.
void check_paths(const Options& options) {
    std::vector<fs::path> paths = options.clips;
    if (options.directory) {
        const fs::path cleared = fs::weakly_canonical(*options.directory) / "tmp" / "";
        for (const fs::path& clip : paths) {
            if (fs::weakly_canonical(clip).native().starts_with(cleared.native()))
                throw cli::CannotRun(
                    fmt::format("{}: inside tmp/ of the working directory, which is cleared", clip.string()));
        }
        paths.push_back(*options.directory);
    }
    if (options.transcript) {
        const fs::path folder = options.transcript->parent_path();
        if (!fs::is_directory(folder) && folder != options.directory)
            throw cli::CannotRun(
                fmt::format("cannot write {}: no such directory", options.transcript->string()));
    }
    for (const fs::path& path : paths) {
        const std::string name = path.string();
        if (std::ranges::any_of(name, [](char c) { return static_cast<unsigned char>(c) < ' '; }))
            throw cli::CannotRun("the name of a clip or directory contains control characters");
    }
}

/// Clips of different lengths, so that a recording with the wrong content is noticed.
std::vector<Clip> generated_clips(const WorkingDirectory& directory) {
    std::vector<Clip> clips;
    for (const Seconds seconds : {4, 2, 5}) {
        const fs::path file = directory.temporary_directory() / fmt::format("camera-{}s.mp4", seconds);
        clips.push_back(write_small_clip(file, seconds));
    }
    return clips;
}

/// Runs the scenario in this process. Returns the number of restarts.
std::uint32_t play(const Options& options, const std::vector<Clip>& clips, const WorkingDirectory& directory,
                   HostSimulator& simulator, Soak* soak) {
    switch (options.scenario) {
        case Scenario::kGap:
            play_gap(simulator, clips);
            break;
        case Scenario::kRetry:
            play_retry(simulator, clips);
            break;
        case Scenario::kMany:
            return play_many(simulator, clips, {options.cameras, options.gaps, options.seed}, soak);
        case Scenario::kRestart: {
            std::ofstream out(restart_state_file(directory), std::ios::binary);
            out << restart_state_text(play_until_restart(simulator, clips));
            if (!out.flush()) throw cli::CannotRun("cannot write " + restart_state_file(directory).string());
            return 1;
        }
        case Scenario::kRestartSecondHalf:
            play_after_restart(simulator,
                               restart_state_of(text_of_file(restart_state_file(directory)).value_or("")));
            fs::remove(restart_state_file(directory));
            return 1;
        case Scenario::kCrash:
        case Scenario::kCrashHost:
        case Scenario::kValidate:
        case Scenario::kOneCase:
            break;  // not scenarios
    }
    return 0;
}

/// Prints the results. Faults of recordings go to standard error, one line each.
int print_results(const Options& options, const WorkingDirectory& directory, const HostSimulator& simulator,
                  std::uint32_t restarts) {
    std::vector<reader::Report> reports;
    for (const ExpectedRecording& recording : simulator.recordings()) reports.push_back(read_back(recording));

    std::FILE* const stream = options.json ? stderr : stdout;
    fmt::print(stream, "\n{}\n{}\n", summary_table(reports, directory.path()),
               figures(simulator, restarts, reports));
    if (options.json) print_json(reports);
    std::uint64_t faults = 0;
    for (const reader::Report& report : reports) {
        faults += report.faults.count();
        for (const reader::Fault& fault : report.faults.kept()) {
            cli::print_error(kProgram, reader::text_of(fault));
        }
    }
    if (faults > 0) return cli::kFailure;
    fmt::print(stream,
               "Next: --verbose shows every document; docs/recording-format.md explains {} byte by byte.\n",
               reports.empty() ? "a recording" : reports.front().path);
    return cli::kSuccess;
}

int run_second_half(const Options& options, const WorkingDirectory& directory) {
    namespace process = boost::process;
    std::vector<std::string> arguments = {kSecondHalf, "--out=" + directory.path().string(),
                                          "--module=" + options.module.string(),
                                          fmt::format("--patience={}", options.patience)};
    if (options.profile) arguments.push_back(fmt::format("--profile={}", name_of(*options.profile)));
    if (options.transcript) arguments.push_back("--transcript=" + options.transcript->string());
    if (options.json) arguments.emplace_back("--json");
    if (options.verbose) arguments.emplace_back("--verbose");
    (void)std::fflush(nullptr);
    process::child child(process::exe = host_kit::own_program().string(), process::args = arguments);
    child.wait();
    return child.exit_code();
}

int run_crash(const Options& options) {
    require_loadable(options.module);
    return crash::run(options);
}

/// Returns the exit status of the program. Throws cli::CannotRun.
int run(const Options& options) {
    if (options.scenario == Scenario::kValidate) return validate::run_suite(options);
    if (options.scenario == Scenario::kOneCase) return validate::run_case(options);
    if (options.scenario == Scenario::kCrash) return run_crash(options);
    if (options.scenario == Scenario::kCrashHost) return crash::run_host(options);
    // Find errors in the command line before anything is written.
    std::vector<Clip> clips;
    std::ranges::transform(options.clips, std::back_inserter(clips), inspect_clip);
    require_loadable(options.module);
    check_paths(options);
    WorkingDirectory directory(options.directory);
    const Profile profile = options.profile.value_or(Profile::kDefault);
    const bool second_half = options.scenario == Scenario::kRestartSecondHalf;
    std::FILE* const stream = options.json ? stderr : stdout;
    Conversation conversation({.stream = stream,
                               .verbose = options.verbose,
                               .quiet = options.quiet,
                               .transcript = options.transcript,
                               .continued = second_half});
    if (!second_half) directory.clear();
    directory.set_profile(profile);
    if (clips.empty()) clips = generated_clips(directory);
    HostSimulator simulator({options.module, std::chrono::seconds(options.patience), profile}, directory,
                            conversation);
    conversation.note("working in " + directory.path().string());
    std::optional<Soak> soak;
    const SoakSettings settings{options.operations, options.minutes};
    if (settings.wanted()) soak.emplace(simulator, settings);
    try {
        const std::uint32_t restarts = play(options, clips, directory, simulator, soak ? &*soak : nullptr);
        if (options.scenario == Scenario::kRestart) return run_second_half(options, directory);
        fs::remove_all(directory.temporary_directory());
        if (soak) fmt::print(stream, "\n{}\n", soak->figures());
        return print_results(options, directory, simulator, restarts);
    } catch (const ModuleFault& fault) {
        // Print first: the simulator's destructor closes the module, which may hang.
        conversation.end_progress();
        cli::print_error(kProgram, fault.what());
        return cli::kFailure;
    }
}

}  // namespace
}  // namespace recorder

int main(int argc, char** argv) {
    return cli::run_tool(recorder::kProgram, [&] {
        boost::this_process::environment().erase("NORVANEPI_CONF");  // the options come from --profile
        const auto options = recorder::read_command_line(argc, argv);
        return options ? recorder::run(*options) : cli::kSuccess;
    });
}
