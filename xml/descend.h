#pragma once

#include <tinyxml2.h>

namespace xml {

/// Follows a path of first child elements. Null if one is missing or the start is null.
template <typename... Names>
[[nodiscard]] const tinyxml2::XMLElement* descend(const tinyxml2::XMLElement* element, Names... names) {
    ((element = element == nullptr ? nullptr : element->FirstChildElement(names)), ...);
    return element;
}

}  // namespace xml
