#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace cli {

/// Completion of the program's subcommands and options for bash, from its declarations alone.
[[nodiscard]] std::string bash_completion(const CLI::App& program);

}  // namespace cli
