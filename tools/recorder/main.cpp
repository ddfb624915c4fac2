#include "tools/cli/exit_status.h"
#include "tools/recorder/options.h"
#include "tools/recorder/run.h"

int main(int argc, char** argv) {
    return cli::run_tool(recorder::kProgram, [&] {
        const auto options = recorder::read_command_line(argc, argv);
        return options ? recorder::run(*options) : cli::kSuccess;
    });
}
