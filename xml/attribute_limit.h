#pragma once

#include <string_view>

namespace xml {

/// False for an XML text with a tag of more than 256 attributes. tinyxml2 compares each attribute with all
/// earlier ones of its tag, so parsing a megabyte of attributes takes minutes; real tags have about a dozen.
/// True for a text that is not XML, which the parser rejects.
[[nodiscard]] bool within_attribute_limit(std::string_view text) noexcept;

}  // namespace xml
