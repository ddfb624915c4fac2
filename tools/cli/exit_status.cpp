#include "tools/cli/exit_status.h"

#include <algorithm>
#include <cstdio>
#include <exception>

#include <fmt/core.h>

namespace cli {

void print_error(std::string_view tool, std::string_view text) {
    // One line whatever the text holds: scripts read these.
    std::string line(text);
    std::replace(line.begin(), line.end(), '\n', ' ');
    fmt::print(stderr, "{}: error: {}\n", tool, line);
}

int run_tool(std::string_view tool, const std::function<int()>& body) noexcept {
    try {
        try {
            return body();
        } catch (const CannotRun& error) {
            print_error(tool, error.what());
            return kCannotRun;
        } catch (const std::exception& error) {
            print_error(tool, error.what());
            return kFailure;
        }
    } catch (...) {  // even the line above could not be printed
        return kFailure;
    }
}

}  // namespace cli
