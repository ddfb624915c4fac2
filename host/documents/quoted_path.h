#pragma once

#include <string>

#include "platform/text.h"

namespace documents {

/// The path's narrow text between double quotes, with & in front of every double quote and & inside.
[[nodiscard]] std::string quoted(const platform::Path& path);

/// Reads that form back: behind leading white space, up to the closing quote or the end; a text that does not
/// begin with a quote is one word, up to the first white space.
[[nodiscard]] platform::Path unquoted(const char* text);

}  // namespace documents
