#pragma once

#include <string_view>

namespace xml {

/// False for an XML text with a tag of more than 256 attributes. The parser compares every attribute with all
/// before it in its tag: a megabyte of them keeps it busy for minutes, and real tags have a dozen. A text
/// that is no XML passes, since the parser refuses it.
[[nodiscard]] bool within_attribute_limit(std::string_view text) noexcept;

}  // namespace xml
