#include "tools/cli/exit_status.h"
#include "tools/ps/command.h"

int main(int argc, char** argv) {
    return cli::run_tool(
        ps_tool::kProgram, [&] { return ps_tool::run(argc, argv); }, cli::kCannotRun);
}
