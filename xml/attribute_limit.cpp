#include "xml/attribute_limit.h"

#include <array>
#include <cstddef>
#include <optional>
#include <utility>

namespace xml {
namespace {

constexpr std::size_t kMaxAttributes = 256;

/// Constructs that begin like a tag, with their ends. The order matters: "<!" is a prefix of two others.
constexpr std::array<std::pair<std::string_view, std::string_view>, 4> kNonTags = {
    {{"<?", "?>"}, {"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<!", ">"}}};

/// The text after the first `end`; empty without one.
std::string_view after(std::string_view text, std::string_view end) noexcept {
    const std::size_t at = text.find(end);
    return at == std::string_view::npos ? std::string_view() : text.substr(at + end.size());
}

/// The text after the tag at its beginning, empty if the tag does not end. Nothing if the tag has too many
/// attributes; each attribute has one value in quotes.
std::optional<std::string_view> after_tag(std::string_view text) noexcept {
    std::size_t attributes = 0;
    for (;;) {
        const std::size_t at = text.find_first_of(">'\"");
        if (at == std::string_view::npos) return std::string_view();
        const std::string_view found = text.substr(at, 1);
        text.remove_prefix(at + 1);
        if (found == ">") return text;
        if (++attributes > kMaxAttributes) return std::nullopt;
        text = after(text, found);
    }
}

std::optional<std::string_view> after_tag_or_other(std::string_view text) noexcept {
    for (const auto& [begin, end] : kNonTags) {
        if (text.starts_with(begin)) return after(text.substr(begin.size()), end);
    }
    return after_tag(text);
}

}  // namespace

bool within_attribute_limit(std::string_view text) noexcept {
    text = text.substr(0, text.find('\0'));  // the parser stops there
    for (;;) {
        const std::size_t at = text.find('<');
        if (at == std::string_view::npos) return true;
        const auto rest = after_tag_or_other(text.substr(at));
        if (!rest) return false;
        text = *rest;
    }
}

}  // namespace xml
