#include "tools/cli/exit_status.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <system_error>

#include <fmt/format.h>

#include "platform/terminal.h"
#include "tools/cli/printable.h"

namespace cli {

void print_message(std::string_view text) {
    (void)std::fflush(stdout);
    fmt::print(stderr, "{}\n", text);
}

void print_error(std::string_view tool, std::string_view text) {
    // Scripts rely on one line per error.
    std::string line(text);
    std::replace(line.begin(), line.end(), '\n', ' ');
    print_message(fmt::format("{}: error: {}", tool, printable(line, stderr)));
}

namespace {

/// With the system's reason, if the last write failed too.
CannotRun output_failure() {
    const std::string reason = errno != 0 ? ": " + std::generic_category().message(errno) : "";
    return CannotRun("standard output: cannot be written" + reason);
}

}  // namespace

int run_tool(std::string_view tool, const std::function<int()>& body, int unexpected) noexcept {
    try {
        platform::use_binary_streams();
        try {
            const int status = body();
            errno = 0;
            std::cout.flush();
            if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0 || !std::cout) throw output_failure();
            return status;
        } catch (const CannotRun& error) {
            print_error(tool, error.what());
            return kCannotRun;
        } catch (const std::exception& error) {
            print_error(tool, error.what());
            return unexpected;
        }
    } catch (...) {  // printing the error failed
        return unexpected;
    }
}

}  // namespace cli
