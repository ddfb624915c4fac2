#pragma once

#include <string>
#include <string_view>

namespace documents {

/// The text with each byte replaced by `\xNN` that is not part of a character of XML 1.0 (2.2) in UTF-8.
[[nodiscard]] std::string printable(std::string_view text);

}  // namespace documents
