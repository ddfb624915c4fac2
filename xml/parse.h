#pragma once

#include <tinyxml2.h>

#include <string_view>

namespace xml {

/// Parses the text into the document. False if it is not well-formed or exceeds the attribute limit.
[[nodiscard]] bool parse(tinyxml2::XMLDocument& document, std::string_view text);

}  // namespace xml
