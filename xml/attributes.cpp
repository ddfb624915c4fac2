#include "xml/attributes.h"

#include <boost/uuid/string_generator.hpp>
#include <stdexcept>

namespace xml {

std::optional<std::int32_t> integer_attribute(const tinyxml2::XMLElement& element, const char* name) {
    std::int32_t value = 0;
    if (element.QueryIntAttribute(name, &value) != tinyxml2::XML_SUCCESS) return std::nullopt;
    return value;
}

std::optional<boost::uuids::uuid> parse_guid(std::string_view text) {
    try {
        return boost::uuids::string_generator()(text.begin(), text.end());
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

}  // namespace xml
