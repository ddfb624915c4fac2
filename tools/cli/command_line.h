#pragma once

// What every program of this project does with its command line.

#include <CLI/CLI.hpp>
#include <string>

namespace cli {

/// The beginning of a program's App: its name, what it does, the exit status, one subcommand needed.
void describe_program(CLI::App& program, const std::string& description, const std::string& exit_status);

/// Adds a subcommand. The example stands at the end of its help: a whole command line.
CLI::App& add_command(CLI::App& program, const std::string& name, const std::string& description,
                      const std::string& example);

/// Reads the line into what was declared. False when it was answered already, by help or a page that is made
/// from the declarations (--print-man, --print-completion). Throws CannotRun for wrong usage.
[[nodiscard]] bool parse(CLI::App& program, int argc, const char* const* argv);

}  // namespace cli
