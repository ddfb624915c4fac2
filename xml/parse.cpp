#include "xml/parse.h"

#include "xml/attribute_limit.h"

namespace xml {

bool parse(tinyxml2::XMLDocument& document, std::string_view text) {
    return within_attribute_limit(text) && document.Parse(text.data(), text.size()) == tinyxml2::XML_SUCCESS;
}

}  // namespace xml
