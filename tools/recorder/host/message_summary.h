#pragma once

#include <cstdint>
#include <string>

#include "tools/cli/paint.h"

namespace recorder {

/// A document of the plug-in in a few words.
struct MessageSummary {
    std::string kind;
    std::string text;
    cli::Colour colour = cli::Colour::kPlain;
};

/// Also for texts that are no document the plug-in may send: they are shown as they are.
[[nodiscard]] MessageSummary summarise(const std::string& document);

/// "2018-06-01T10:00:00Z"; before 1970 the plain number, as the plug-in has it.
[[nodiscard]] std::string utc_text(std::int64_t seconds);

}  // namespace recorder
