#include "tools/cli/paint.h"

#include <cstdlib>

#include <fmt/core.h>

#include "platform/terminal.h"

namespace cli {
namespace {

/// Parameters of the terminal's "select graphic rendition" sequence.
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

bool colours_wanted() {
    // Nothing here changes the environment, so that reading it is safe on any thread.
    const char* refused = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe)
    return refused == nullptr || *refused == '\0';
}

}  // namespace

Paint::Paint(std::FILE* stream) : on_(platform::is_terminal(stream) && colours_wanted()) {}

std::string Paint::operator()(Colour colour, std::string_view text) const {
    if (!on_ || colour == Colour::kPlain) return std::string(text);
    return fmt::format("\x1b[{}m{}\x1b[0m", code_of(colour), text);
}

}  // namespace cli
