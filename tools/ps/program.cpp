#include "tools/ps/program.h"

#include "tools/ps/command.h"

namespace ps_tool {

int run(int argc, const char* const* argv) {
    cli::Program program(
        kProgram,
        "Inspects, checks, repairs and exports recordings. A recording is a data file, NAME.ps, and "
        "its index, NAME.psi, next to it; a directory names every recording below it.",
        "0 success; 1 a fault or a refused file was found; 2 wrong usage, or it could not run.");
    // In the order of the help.
    for (const auto add :
         {add_info, add_frames, add_verify, add_repair, add_probe, add_convert, add_export, add_report})
        add(program);
    return program.run(argc, argv);
}

}  // namespace ps_tool
