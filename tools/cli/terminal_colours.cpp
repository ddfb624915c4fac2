#include "tools/cli/terminal_colours.h"

#include <cstdlib>

#include <fmt/core.h>

#include "platform/terminal.h"

namespace cli {
namespace {

bool colours_allowed() {
    // Nothing changes the environment, so any thread may read it.
    const char* no_color = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe)
    return no_color == nullptr || *no_color == '\0';
}

}  // namespace

bool is_capable_terminal(std::FILE* stream) {
    const char* const term = std::getenv("TERM");  // NOLINT(concurrency-mt-unsafe)
    return platform::is_terminal(stream) && (term == nullptr || std::string_view(term) != "dumb");
}

TerminalColours::TerminalColours(std::FILE* stream)
    : enabled_(is_capable_terminal(stream) && colours_allowed()) {}

std::string TerminalColours::operator()(Colour colour, std::string_view text) const {
    if (!enabled_ || colour == Colour::kPlain) return std::string(text);
    return fmt::format("\x1b[{}m{}\x1b[0m", static_cast<int>(colour), text);
}

}  // namespace cli
