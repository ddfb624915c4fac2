#include "tools/ps/program.h"

#include <array>
#include <vector>

#include "tools/cli/command_line.h"
#include "tools/cli/exit_status.h"
#include "tools/ps/command.h"

namespace ps_tool {
namespace {

constexpr const char* kDescription =
    "Looks into recordings. A recording is a data file, NAME.ps, and its index, NAME.psi, beside it; a "
    "directory stands for every recording below it.";

/// In the order in which help shows them.
constexpr std::array kCommands = {
    add_info, add_frames, add_verify, add_repair, add_probe, add_convert, add_export, add_report,
};

}  // namespace

int run(int argc, const char* const* argv) {
    CLI::App program("", kProgram);
    cli::describe_program(program, kDescription,
                          "0 all is well; 1 something was found; 2 wrong usage, or it could not run.");
    std::vector<Command> commands;
    commands.reserve(kCommands.size());
    for (const auto& add : kCommands) commands.push_back(add(program));
    if (!cli::parse(program, argc, argv)) return cli::kSuccess;
    for (const Command& command : commands) {
        if (command.declared->parsed()) return command.run();
    }
    return cli::kCannotRun;
}

}  // namespace ps_tool
