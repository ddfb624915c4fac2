#include "xml/attribute_limit.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>

namespace xml {
namespace {

constexpr std::size_t kMaxAttributes = 256;

/// What begins like a tag and is none, and how it ends.
constexpr std::array<std::pair<std::string_view, std::string_view>, 4> kNoTags = {
    {{"<?", "?>"}, {"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<!", ">"}}};

/// Where a tag ends or a value in quotes begins. A library's search for any of several characters costs a
/// call for each one it looks at.
std::size_t end_or_quote(std::string_view text) noexcept {
    const auto found = std::ranges::find_if(text, [](char c) { return c == '>' || c == '\'' || c == '"'; });
    return static_cast<std::size_t>(found - text.begin());
}

/// The text behind the end of such a thing; nothing behind one that does not end.
std::string_view behind(std::string_view text, std::string_view end) noexcept {
    const std::size_t at = text.find(end);
    return at == std::string_view::npos ? std::string_view() : text.substr(at + end.size());
}

/// The text behind the tag that it begins with, which is empty where the tag does not end; nothing once it
/// has too many attributes. Each of them has one value in quotes.
std::optional<std::string_view> behind_tag(std::string_view text) noexcept {
    std::size_t attributes = 0;
    for (;;) {
        const std::size_t at = end_or_quote(text);
        if (at == text.size()) return std::string_view();
        const std::string_view found = text.substr(at, 1);
        text.remove_prefix(at + 1);
        if (found == ">") return text;
        if (++attributes > kMaxAttributes) return std::nullopt;
        text = behind(text, found);
    }
}

/// The same for whatever the text begins with.
std::optional<std::string_view> behind_first(std::string_view text) noexcept {
    if (!text.starts_with("<?") && !text.starts_with("<!")) return behind_tag(text);  // nearly always
    for (const auto& [begin, end] : kNoTags) {
        if (text.starts_with(begin)) return behind(text.substr(begin.size()), end);
    }
    return behind_tag(text);
}

}  // namespace

bool within_attribute_limit(std::string_view text) noexcept {
    text = text.substr(0, text.find('\0'));  // as far as the parser goes
    for (;;) {
        const std::size_t at = text.find('<');
        if (at == std::string_view::npos) return true;
        const auto rest = behind_first(text.substr(at));
        if (!rest) return false;
        text = *rest;
    }
}

}  // namespace xml
