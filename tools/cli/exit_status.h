#pragma once

// Exit status and error output of the tools.

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace cli {

inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;    // the tool ran and found something wrong
inline constexpr int kCannotRun = 2;  // wrong usage, or an input or the environment is unusable

/// Ends a tool with the exit status kCannotRun.
class CannotRun : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Flushes standard output. run_tool() reports the first failure with the system's reason.
void flush_output() noexcept;

/// Prints a line of text on standard error, after what was printed on standard output before.
void print_message(std::string_view text);

/// Prints "tool: error: text" as one line on standard error.
void print_error(std::string_view tool, std::string_view text);

/// Runs a tool's body and returns its exit status. An exception becomes one line on standard error; the
/// status is then kCannotRun for CannotRun and `unexpected` for any other. Failing to write standard output
/// is an error too.
[[nodiscard]] int run_tool(std::string_view tool, const std::function<int()>& body,
                           int unexpected = kFailure) noexcept;

}  // namespace cli
