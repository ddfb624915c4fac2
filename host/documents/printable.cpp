#include "host/documents/printable.h"

#include <boost/locale/utf.hpp>

namespace documents {
namespace {

namespace utf = boost::locale::utf;
using Utf8 = utf::utf_traits<char>;

bool is_xml_character(utf::code_point c) {
    if (!utf::is_valid_codepoint(c)) return false;  // a surrogate, or not UTF-8
    return c >= 0x20 ? c != 0xFFFE && c != 0xFFFF : c == '\t' || c == '\n' || c == '\r';
}

std::string escaped(char byte) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    return {'\\', 'x', kDigits[value >> 4], kDigits[value & 15]};
}

}  // namespace

std::string printable(std::string_view text) {
    std::string printable;
    for (const char* at = text.data(); at != text.data() + text.size();) {
        const char* const first = at;
        if (is_xml_character(Utf8::decode(at, text.data() + text.size()))) {
            printable.append(first, at);
        } else {
            printable += escaped(*first);
            at = first + 1;
        }
    }
    return printable;
}

}  // namespace documents
