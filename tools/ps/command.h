#pragma once

// The frame of norvanepi-ps. A subcommand is a file here that declares itself below the program and says what
// runs it, and a line in the table of program.cpp.

#include <CLI/CLI.hpp>
#include <functional>

namespace ps_tool {

/// What runs the subcommand once the command line was read; gives the exit status. Throws cli::CannotRun.
struct Command {
    CLI::App* declared = nullptr;
    std::function<int()> run;
};

Command add_info(CLI::App& program);
Command add_frames(CLI::App& program);
Command add_verify(CLI::App& program);
Command add_repair(CLI::App& program);
Command add_probe(CLI::App& program);
Command add_convert(CLI::App& program);
Command add_export(CLI::App& program);
Command add_report(CLI::App& program);

}  // namespace ps_tool
