#pragma once

#include <cstdint>
#include <string>

#include "tools/cli/terminal_colours.h"

namespace recorder {

/// A short description of a document from the module.
struct MessageSummary {
    std::string kind;
    std::string text;
    cli::Colour colour = cli::Colour::kPlain;
};

/// An unknown text is its own summary.
[[nodiscard]] MessageSummary summarise(const std::string& document);

/// "2018-06-01T10:00:00Z"; before 1970 the plain number, as in the log lines of the module.
[[nodiscard]] std::string utc_text(std::int64_t seconds);

}  // namespace recorder
