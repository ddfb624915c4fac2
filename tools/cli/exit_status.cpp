#include "tools/cli/exit_status.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <string>
#include <system_error>

#include <fmt/format.h>

#include "platform/terminal.h"
#include "tools/cli/printable.h"

namespace cli {

namespace {

/// The reason of the first failure to write standard output, as a value of errno. The C library forgets it,
/// and discards what it could not write, so that the next flush succeeds.
std::atomic<int> output_error = 0;

void note_output_error(int error) noexcept {
    int none = 0;
    output_error.compare_exchange_strong(none, error);
}

}  // namespace

void flush_output() noexcept {
    errno = 0;
    if (std::fflush(stdout) != 0) note_output_error(errno);
}

void print_message(std::string_view text) {
    flush_output();
    fmt::print(stderr, "{}\n", text);
}

void print_error(std::string_view tool, std::string_view text) {
    // Scripts rely on one line per error.
    std::string line(text);
    std::replace(line.begin(), line.end(), '\n', ' ');
    print_message(fmt::format("{}: error: {}", tool, printable(line, stderr)));
}

namespace {

std::string output_failure() {
    const int error = output_error != 0 ? output_error.load() : EIO;
    return "standard output: cannot be written: " + std::generic_category().message(error);
}

/// The error of a failed write, which fmt throws, does not name standard output.
int report_system_error(std::string_view tool, const std::system_error& error, int unexpected) {
    if (std::ferror(stdout) == 0) {
        print_error(tool, error.what());
        return unexpected;
    }
    note_output_error(error.code().value());
    print_error(tool, output_failure());
    return kCannotRun;
}

}  // namespace

int run_tool(std::string_view tool, const std::function<int()>& body, int unexpected) noexcept {
    try {
        platform::use_binary_streams();
        try {
            const int status = body();
            flush_output();
            if (output_error != 0 || std::ferror(stdout) != 0) throw CannotRun(output_failure());
            return status;
        } catch (const CannotRun& error) {
            print_error(tool, error.what());
            return kCannotRun;
        } catch (const std::system_error& error) {
            return report_system_error(tool, error, unexpected);
        } catch (const std::exception& error) {
            print_error(tool, error.what());
            return unexpected;
        }
    } catch (...) {  // printing the error failed
        return unexpected;
    }
}

}  // namespace cli
