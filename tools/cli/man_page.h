#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace cli {

/// The program's page for section 1 of the manual, from its declarations alone.
[[nodiscard]] std::string man_page(const CLI::App& program);

}  // namespace cli
