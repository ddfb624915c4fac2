#include "platform/markup.h"

#include <array>
#include <cstddef>
#include <utility>

namespace platform {
namespace {

constexpr std::size_t kMostAttributes = 256;

/// What begins like a tag and is none, and how it ends.
constexpr std::array<std::pair<std::string_view, std::string_view>, 4> kNoTags = {
    {{"<?", "?>"}, {"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<!", ">"}}};

/// The text behind the end of such a thing; nothing behind one that does not end.
std::string_view behind(std::string_view text, std::string_view end) noexcept {
    const std::size_t at = text.find(end);
    return at == std::string_view::npos ? std::string_view() : text.substr(at + end.size());
}

/// Goes to the end of the tag that the text begins with; false once it has too many attributes. Each has one
/// value in quotes.
bool pass_tag(std::string_view& text) noexcept {
    for (std::size_t attributes = 0;;) {
        const std::size_t at = text.find_first_of(">'\"");
        if (at == std::string_view::npos) return true;
        const char found = text[at];
        text.remove_prefix(at + 1);
        if (found == '>') return true;
        if (++attributes > kMostAttributes) return false;
        text = behind(text, found == '"' ? "\"" : "'");
    }
}

}  // namespace

bool has_modest_tags(std::string_view text) noexcept {
    text = text.substr(0, text.find('\0'));  // as far as the parser goes
    for (;;) {
        const std::size_t at = text.find('<');
        if (at == std::string_view::npos) return true;
        text.remove_prefix(at);
        bool is_tag = true;
        for (const auto& [begin, end] : kNoTags) {
            if (!text.starts_with(begin)) continue;
            text = behind(text.substr(begin.size()), end);
            is_tag = false;
            break;
        }
        if (is_tag && !pass_tag(text)) return false;
    }
}

}  // namespace platform
