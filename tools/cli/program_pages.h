#pragma once

// Pages generated from a program's declared subcommands and options.

#include <string>

namespace CLI {
class App;
}

namespace cli {

/// The manual page, section 1, as troff source.
[[nodiscard]] std::string man_page(const CLI::App& program);

/// A bash script that completes subcommands and options.
[[nodiscard]] std::string bash_completion(const CLI::App& program);

}  // namespace cli
