#include "host/documents/quoted_path.h"

#include <algorithm>
#include <string_view>

namespace documents {
namespace {

constexpr char kQuote = '"';
constexpr char kEscape = '&';
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";  // independent of the host's locale

/// The text between the quotes, unescaped. The closing quote may be missing, and so may the character after
/// an escape.
std::string between_quotes(std::string_view text) {
    std::string inside;
    for (std::size_t i = 0; i < text.size() && text[i] != kQuote; ++i) {
        if (text[i] == kEscape && ++i == text.size()) break;
        inside += text[i];
    }
    return inside;
}

}  // namespace

std::string quoted(const platform::Path& path) {
    std::string text(1, kQuote);
    for (const char c : platform::narrow_text(path)) {
        if (c == kQuote || c == kEscape) text += kEscape;
        text += c;
    }
    return text + kQuote;
}

platform::Path unquoted(const char* text) {
    std::string_view rest = text;
    rest.remove_prefix(std::min(rest.find_first_not_of(kWhiteSpace), rest.size()));
    if (rest.starts_with(kQuote)) return platform::path_of(between_quotes(rest.substr(1)));
    return platform::path_of(std::string(rest.substr(0, rest.find_first_of(kWhiteSpace))));
}

}  // namespace documents
