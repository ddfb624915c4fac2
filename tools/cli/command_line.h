#pragma once

// The command line of a program with subcommands, which declares its options with CLI11.

#include <string>

namespace CLI {
class App;
}

namespace cli {

/// Sets the description and the exit status of the help, and requires one subcommand.
void describe_program(CLI::App& program, const std::string& description, const std::string& exit_status);

/// Adds a subcommand. `example` is a whole command line for the end of its help.
CLI::App& add_command(CLI::App& program, const std::string& name, const std::string& description,
                      const std::string& example);

/// Returns false if the program already printed its answer: help, --print-man or --print-completion. Throws
/// CannotRun for wrong usage.
[[nodiscard]] bool parse(CLI::App& program, int argc, const char* const* argv);

}  // namespace cli
