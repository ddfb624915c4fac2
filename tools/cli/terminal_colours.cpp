#include "tools/cli/terminal_colours.h"

#include <cstdlib>

#include <fmt/core.h>

#include "platform/terminal.h"

namespace cli {
namespace {

/// ECMA-48, 8.3.117 (SGR).
std::string_view code_of(Colour colour) {
    switch (colour) {
        case Colour::kFaint:
            return "2";
        case Colour::kRed:
            return "31";
        case Colour::kGreen:
            return "32";
        case Colour::kYellow:
            return "33";
        case Colour::kBlue:
            return "34";
        case Colour::kPlain:
            break;
    }
    return "0";
}

bool colours_allowed() {
    // Nothing changes the environment, so any thread may read it.
    const char* no_color = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe)
    return no_color == nullptr || *no_color == '\0';
}

}  // namespace

TerminalColours::TerminalColours(std::FILE* stream)
    : enabled_(platform::is_terminal(stream) && colours_allowed()) {}

std::string TerminalColours::operator()(Colour colour, std::string_view text) const {
    if (!enabled_ || colour == Colour::kPlain) return std::string(text);
    return fmt::format("\x1b[{}m{}\x1b[0m", code_of(colour), text);
}

}  // namespace cli
