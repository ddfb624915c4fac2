#pragma once

#include <string>

#include "platform/text.h"

namespace documents {

/// The path's narrow text in double quotes. Inside, & precedes every double quote and every &.
[[nodiscard]] std::string quoted(const platform::Path& path);

/// Reads this form. Skips leading white space and stops at the closing quote or the end of the text. A text
/// without an opening quote ends at the first white space.
[[nodiscard]] platform::Path unquoted(const char* text);

}  // namespace documents
