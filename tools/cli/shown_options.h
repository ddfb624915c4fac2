#pragma once

#include <CLI/CLI.hpp>
#include <vector>

namespace cli {

/// What help shows of an App, in the order of declaration: options with a dash, the others, subcommands.
[[nodiscard]] std::vector<const CLI::Option*> shown_options(const CLI::App& app);
[[nodiscard]] std::vector<const CLI::Option*> shown_positionals(const CLI::App& app);
[[nodiscard]] std::vector<const CLI::App*> shown_commands(const CLI::App& app);

}  // namespace cli
