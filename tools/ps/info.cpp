#include <fmt/format.h>

#include <memory>

#include "tools/cli/command_line.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/recording_paths.h"
#include "tools/ps/command.h"
#include "tools/ps/common_options.h"

namespace ps_tool {
namespace {

int run_info(const CommonOptions& options) {
    for (const std::string& path : cli::recording_paths(options.paths)) fmt::print("{}\n", path);
    return cli::kSuccess;
}

}  // namespace

Command add_info(CLI::App& program) {
    const auto options = std::make_shared<CommonOptions>();
    CLI::App& command =
        cli::add_command(program, "info", "Shows what recordings hold", "norvanepi-ps info recordings/");
    add_paths(command, *options);
    add_jobs(command, *options);
    add_json(command, *options);
    return {&command, [options] { return run_info(*options); }};
}

}  // namespace ps_tool
