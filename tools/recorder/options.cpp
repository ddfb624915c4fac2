#include "tools/recorder/options.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "tools/cli/command_line.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/jobs.h"
#include "tools/host_kit/module_library.h"

namespace recorder {
namespace {

namespace fs = std::filesystem;

/// The options as they are typed.
struct Typed {
    std::vector<std::string> clips;
    std::string directory;
    std::string module;
    std::string transcript;
};

constexpr std::uint32_t kPatienceOfCase = 20;

constexpr const char* kDescription =
    "Plays the recording server to the plug-in norvanepi: cameras are lost and found again, and the plug-in "
    "fetches "
    "what the recorder missed from the cameras' own clips. Every message is shown and held against what has "
    "to come; "
    "every recording is read back through its index and checked. Nothing outside the working directory is "
    "written.";

void add_common_options(CLI::App& command, Typed& typed, Options& options, bool clips_needed) {
    auto* clips =
        command.add_option("--clips", typed.clips,
                           clips_needed ? "MP4 clips that the cameras hold, in order"
                                        : "MP4 clips that the cameras hold; made up when not given");
    clips->type_name("FILE")->required(clips_needed);
    command.add_option("--out", typed.directory, "working directory (default: a new temporary one)")
        ->type_name("DIR");
    command.add_option("--module", typed.module, "plug-in (default: norvanepi.so beside this program)")
        ->type_name("FILE");
    command
        .add_option("--transcript", typed.transcript, "write the conversation there, one JSON object a line")
        ->type_name("FILE");
    command.add_flag("--json", options.json,
                     "closing table as JSON on standard output; the rest on standard error");
    command.add_flag("--verbose", options.verbose, "show every document whole");
    command
        .add_option("--patience", options.patience, "seconds to wait for a plug-in that makes no progress")
        ->capture_default_str()
        ->check(CLI::Range(1U, 86400U));
}

void add_scenario(CLI::App& app, Typed& typed, Options& options, Scenario scenario, const std::string& name,
                  const std::string& description) {
    const bool clips_needed = scenario == Scenario::kGap;
    CLI::App& command =
        cli::add_command(app, name, description,
                         fmt::format("{} {}{}", kProgram, name, clips_needed ? " --clips front.mp4" : ""));
    add_common_options(command, typed, options, clips_needed);
    command.callback([&options, scenario] { options.scenario = scenario; });
    if (scenario == Scenario::kRestartSecondHalf) command.group("");  // not shown
    if (scenario != Scenario::kMany) return;
    command.add_option("--cameras", options.cameras, "number of cameras")
        ->capture_default_str()
        ->check(CLI::Range(1U, 2000U));
    command.add_option("--gaps", options.gaps, "gaps of each camera")
        ->capture_default_str()
        ->check(CLI::Range(1U, 1000U));
    command.add_option("--seed", options.seed, "the same number plays the same story")->capture_default_str();
    command.add_option("--operations", options.operations,
                       "go on until so many operations have ended, and show what the plug-in costs");
    command.add_option("--minutes", options.minutes, "go on for so long, likewise");
    command.add_flag("--quiet", options.quiet, "show the end only");
}

void add_validate(CLI::App& app, Typed& typed, Options& options, Scenario scenario, const std::string& name,
                  const std::string& description) {
    CLI::App& command =
        cli::add_command(app, name, description, fmt::format("{} {} build/norvanepi.so", kProgram, name));
    command.add_option("module", typed.module, "the build of the plug-in to try")->type_name("MODULE");
    command.add_option("--filter", options.filters, "cases with this in their name; may be given again")
        ->type_name("WORD");
    command.add_option("--out", typed.directory, "keep what each case said and made there")->type_name("DIR");
    command.add_flag("--list", options.list, "show the cases and what they check");
    command.add_flag("--json", options.json, "verdicts as JSON on standard output");
    command.add_option("--jobs", options.jobs, "cases at a time")
        ->default_val(cli::default_jobs())
        ->check(CLI::Range(1U, 64U));
    command.add_option("--patience", options.patience, "seconds that a case, or a call in it, may take")
        ->default_val(kPatienceOfCase)
        ->check(CLI::Range(1U, 86400U));
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
                          "surroundings.");
    add_scenario(app, typed, options, Scenario::kGap, "gap",
                 "One camera is lost and found; its gap is fetched");
    add_scenario(app, typed, options, Scenario::kRetry, "retry",
                 "A retrieval fails at a clip, is fetched again from there, fails again and is dropped");
    add_scenario(app, typed, options, Scenario::kRestart, "restart",
                 "Shutdown with a gap open and operations pending; a new process fetches the rest");
    add_scenario(app, typed, options, Scenario::kMany, "many",
                 "Many cameras with random losses, returns, failures and restarts");
    add_scenario(app, typed, options, Scenario::kRestartSecondHalf, kSecondHalf, "");
    add_validate(app, typed, options, Scenario::kValidate, "validate",
                 "A conformance suite for any build of the plug-in, each case in a process of its own");
    add_validate(app, typed, options, Scenario::kOneCase, kOneCase, "");
    if (!cli::parse(app, argc, argv)) return std::nullopt;
    for (const std::string& clip : typed.clips) {
        if (clip.empty()) throw cli::CannotRun("--clips takes the names of files");
        options.clips.push_back(fs::absolute(clip));
    }
    options.directory = absolute_or_nothing(typed.directory);
    options.transcript = absolute_or_nothing(typed.transcript);
    options.module = typed.module.empty() ? host_kit::default_module() : fs::absolute(typed.module);
    return options;
}

void require_loadable(const fs::path& module) {
    try {
        (void)host_kit::ModuleLibrary(module);
    } catch (const host_kit::CannotLoad& error) {
        throw cli::CannotRun(error.what());
    }
}

std::vector<std::string> arguments_of_second_half(const Options& options, const fs::path& directory) {
    std::vector<std::string> arguments = {kSecondHalf, "--out=" + directory.string(),
                                          "--module=" + options.module.string(),
                                          fmt::format("--patience={}", options.patience)};
    if (options.transcript) arguments.push_back("--transcript=" + options.transcript->string());
    if (options.json) arguments.emplace_back("--json");
    if (options.verbose) arguments.emplace_back("--verbose");
    return arguments;
}

}  // namespace recorder
