#include "tools/recorder/host/options.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "tools/cli/command_line.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/jobs.h"
#include "tools/host_kit/module_library.h"

namespace recorder {
namespace {

namespace fs = std::filesystem;

/// Options in the form of the command line.
struct Typed {
    std::vector<std::string> clips;
    std::string directory;
    std::string module;
    std::string transcript;
    std::string junit;
    std::string profile;
};

constexpr std::uint32_t kCasePatience = 20;
constexpr std::uint32_t kMaxPatience = 86'400;  // seconds

constexpr const char* kDescription =
    "Simulates the host of the module norvanepi: cameras are lost and return, and the module retrieves the "
    "missing time from the cameras' own clips. Every message is printed and compared with the expected "
    "message; every recording is read back through its index and checked. Nothing outside the working "
    "directory is written, except the transcript.";

/// An option whose value is a file or another text.
template <typename Text>
CLI::Option& add_file(CLI::App& command, const char* name, Text& to, const char* text,
                      const char* type = "FILE") {
    return *command.add_option(name, to, text)->type_name(type);
}

void add_number(CLI::App& command, const char* name, std::uint32_t& to, std::uint32_t most,
                const char* text) {
    command.add_option(name, to, text)->capture_default_str()->check(CLI::Range(1U, most));
}

void add_common_options(CLI::App& command, Typed& typed, Options& options, bool clips_needed) {
    add_file(command, "--clips", typed.clips,
             clips_needed ? "MP4 clips on the cameras' storage, in order"
                          : "MP4 clips on the cameras' storage (default: generated clips)")
        .required(clips_needed);
    add_file(command, "--out", typed.directory, "working directory (default: a new temporary one)", "DIR");
    add_file(command, "--module", typed.module,
             "the module (default: the installed one, or the one in the directory of this program)");
    add_file(command, "--transcript", typed.transcript,
             "write every message to this file, one JSON object per line");
    command.add_flag("--json", options.json,
                     "print the results as JSON on standard output and the rest on standard error");
    command.add_flag("--verbose", options.verbose, "show every document in full");
    add_number(command, "--patience", options.patience, kMaxPatience,
               "seconds to wait if the module makes no progress");
}

void add_profile(CLI::App& command, Typed& typed, const char* text) {
    command.add_option("--profile", typed.profile, text)
        ->type_name("PROFILE")
        ->check(CLI::IsMember({name_of(Profile::kDefault), name_of(Profile::kSafe)}));
}

void add_seed(CLI::App& command, Options& options) {
    command
        .add_option("--seed", options.seed,
                    "seed of the random numbers; the same seed gives the same scenario")
        ->capture_default_str();
}

void add_scenario(CLI::App& app, Typed& typed, Options& options, Scenario scenario, const std::string& name,
                  const std::string& description) {
    const bool clips_needed = scenario == Scenario::kGap;
    CLI::App& command =
        cli::add_command(app, name, description,
                         fmt::format("{} {}{}", kProgram, name, clips_needed ? " --clips front.mp4" : ""));
    add_common_options(command, typed, options, clips_needed);
    add_profile(command, typed, "options of the module: default or safe");
    command.callback([&options, scenario] { options.scenario = scenario; });
    if (scenario == Scenario::kRestartSecondHalf) command.group("");  // not shown
    if (scenario != Scenario::kMany) return;
    add_number(command, "--cameras", options.cameras, 2000, "number of cameras");
    add_number(command, "--gaps", options.gaps, 1000, "gaps per camera");
    add_seed(command, options);
    command.add_option("--operations", options.operations,
                       "stop after this number of operations, and show the resources used");
    command.add_option("--minutes", options.minutes,
                       "stop after this number of minutes, and show the resources used");
    command.add_flag("--quiet", options.quiet, "show only the results");
}

void add_crash(CLI::App& app, Typed& typed, Options& options) {
    CLI::App& command = cli::add_command(
        app, "crash",
        "Kill the host again and again, in real time, while cameras keep recording; print what was lost and "
        "what was recovered. Fails if the profile safe does not recover everything",
        fmt::format("{} crash --kills 100", kProgram));
    add_number(command, "--kills", options.kills, 1'000'000, "number of kills");
    add_seed(command, options);
    add_profile(command, typed, "only this profile: default or safe (default: both, side by side)");
    add_file(command, "--out", typed.directory, "working directory (default: a new temporary one)", "DIR");
    add_file(command, "--module", typed.module,
             "the module (default: the installed one, or the one in the directory of this program)");
    command.add_flag("--json", options.json, "print the results as JSON on standard output");
    command.callback([&options] { options.scenario = Scenario::kCrash; });
}

void add_crash_host(CLI::App& app, Typed& typed, Options& options) {
    CLI::App& command = cli::add_command(app, kCrashHost, "", kProgram);
    command.add_option("--out", typed.directory)->required();
    command.add_option("--module", typed.module)->required();
    command.add_option("--patience", options.patience);
    command.add_option("--seed", options.seed);
    command.add_flag("--calm", options.calm);
    command.group("");  // not shown
    command.callback([&options] { options.scenario = Scenario::kCrashHost; });
}

void add_validate(CLI::App& app, Typed& typed, Options& options, Scenario scenario, const std::string& name,
                  const std::string& description) {
    CLI::App& command =
        cli::add_command(app, name, description, fmt::format("{} {} build/norvanepi.so", kProgram, name));
    add_file(command, "module", typed.module, "the build of the module to check", "MODULE");
    add_file(command, "--filter", options.filters,
             "run only cases whose name contains this word; may be repeated", "WORD");
    add_file(command, "--out", typed.directory, "keep the output and files of each case in this directory",
             "DIR");
    command.add_flag("--list", options.list, "list the cases and what they check");
    command.add_flag("--json", options.json, "print the results as JSON on standard output");
    command.add_option("--junit", typed.junit, "also write the results to this file as JUnit XML")
        ->type_name("FILE");
    command.add_option("--jobs", options.jobs, "number of cases at a time")
        ->default_val(cli::default_jobs())
        ->check(CLI::Range(1U, 64U));
    add_profile(command, typed, "options of the module: default or safe");
    command.add_option("--patience", options.patience, "limit for a case, or a call in it, in seconds")
        ->default_val(kCasePatience)
        ->check(CLI::Range(1U, kMaxPatience));
    command.callback([&options, scenario] { options.scenario = scenario; });
    if (scenario == Scenario::kOneCase) command.group("");  // not shown
}

std::optional<fs::path> absolute_or_nothing(const std::string& path) {
    if (path.empty()) return std::nullopt;
    return fs::absolute(path);
}

}  // namespace

std::optional<Options> read_command_line(int argc, const char* const* argv) {
    Options options;
    Typed typed;
    CLI::App app("", kProgram);
    cli::describe_program(app, kDescription,
                          "0 everything expected happened; 1 something did not; 2 wrong usage or "
                          "environment.");
    add_scenario(app, typed, options, Scenario::kGap, "gap",
                 "One camera is lost and returns; its gap is retrieved");
    add_scenario(app, typed, options, Scenario::kRetry, "retry",
                 "A retrieval fails at a clip, is repeated from that clip, fails again and is dropped");
    add_scenario(app, typed, options, Scenario::kRestart, "restart",
                 "Shutdown with an open gap and pending operations; a new process retrieves the rest");
    add_scenario(app, typed, options, Scenario::kMany, "many",
                 "Many cameras with random losses, returns, failures and restarts");
    add_scenario(app, typed, options, Scenario::kRestartSecondHalf, kSecondHalf, "");
    add_crash(app, typed, options);
    add_crash_host(app, typed, options);
    add_validate(app, typed, options, Scenario::kValidate, "validate",
                 "Check that a build of the module behaves as hosts expect, each case in its own process");
    add_validate(app, typed, options, Scenario::kOneCase, kOneCase, "");
    if (!cli::parse(app, argc, argv)) return std::nullopt;
    for (const std::string& clip : typed.clips) {
        if (clip.empty()) throw cli::CannotRun("--clips: empty file name");
        options.clips.push_back(fs::absolute(clip));
    }
    if (!typed.profile.empty())
        options.profile = typed.profile == name_of(Profile::kSafe) ? Profile::kSafe : Profile::kDefault;
    options.directory = absolute_or_nothing(typed.directory);
    options.transcript = absolute_or_nothing(typed.transcript);
    options.junit = absolute_or_nothing(typed.junit);
    options.module = typed.module.empty() ? host_kit::default_module() : fs::absolute(typed.module);
    return options;
}

norvane::Options module_options(Profile profile) {
    if (profile == Profile::kDefault) return {};
    norvane::Options options = norvane::safe_options();
    options.retry_delay = 0;
    return options;
}

void require_loadable(const fs::path& module) {
    try {
        (void)host_kit::ModuleLibrary(module);
    } catch (const host_kit::CannotLoad& error) {
        throw cli::CannotRun(error.what());
    }
}

}  // namespace recorder
