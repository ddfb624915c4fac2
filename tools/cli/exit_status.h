#pragma once

// How a tool of this project ends.

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace cli {

/// Everything expected happened; something did not; the tool could not begin.
inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;
inline constexpr int kCannotRun = 2;

/// Ends a tool with kCannotRun: its input or surroundings are not what it needs.
class CannotRun : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Prints "tool: error: text" as one line on standard error.
void print_error(std::string_view tool, std::string_view text);

/// Runs a tool's body. What it throws becomes one line on standard error and the status: kCannotRun for
/// CannotRun, `unexpected` for the rest. Standard output that could not be written is an error too.
[[nodiscard]] int run_tool(std::string_view tool, const std::function<int()>& body,
                           int unexpected = kFailure) noexcept;

}  // namespace cli
