#pragma once

// Typed values of attributes.

#include <tinyxml2.h>

#include <boost/uuid/uuid.hpp>
#include <cstdint>
#include <optional>
#include <string_view>

namespace xml {

/// The value of an integer attribute, in any form that tinyxml2 accepts: leading blanks, a sign, "0x". Empty
/// if the attribute is missing or not an integer.
[[nodiscard]] std::optional<std::int32_t> integer_attribute(const tinyxml2::XMLElement& element,
                                                            const char* name);

/// A GUID in any usual form: hexadecimal digits in either case, with or without dashes and braces. Empty for
/// any other text.
[[nodiscard]] std::optional<boost::uuids::uuid> parse_guid(std::string_view text);

}  // namespace xml
