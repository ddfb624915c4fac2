#pragma once

#include <string>

#include "tools/cli/terminal_colours.h"
#include "tools/model/reference_engine.h"

namespace recorder {

/// A short description of a document from the module.
struct MessageSummary {
    std::string kind;
    std::string text;
    cli::Colour colour = cli::Colour::kPlain;
};

/// An unknown text is its own summary.
[[nodiscard]] MessageSummary summarise(const std::string& document);

using model::utc_text;

}  // namespace recorder
