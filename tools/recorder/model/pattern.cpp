#include "tools/recorder/model/pattern.h"

#include <algorithm>
#include <charconv>
#include <chrono>

#include <fmt/format.h>

namespace recorder {
namespace {

constexpr std::size_t kGuidLength = 36;
constexpr std::size_t kContext = 40;  // characters of a text in a message

/// Removes the pattern of a GUID. Returns the number of the operation.
std::size_t take_operation(std::string_view& pattern) {
    std::size_t operation = 0;
    std::from_chars(pattern.data() + kGuidBegin.size(), pattern.data() + kGuidLength, operation, 16);
    pattern.remove_prefix(kGuidLength);
    return operation;
}

/// A random UUID in lower case: version 4, variant 10.
bool is_random_guid(std::string_view text) {
    constexpr std::string_view kForm = "xxxxxxxx-xxxx-4xxx-vxxx-xxxxxxxxxxxx";
    constexpr std::string_view kHex = "0123456789abcdef";
    constexpr std::string_view kVariants = "89ab";
    return std::equal(text.begin(), text.end(), kForm.begin(), kForm.end(), [&](char is, char form) {
        if (form == 'x') return kHex.find(is) != std::string_view::npos;
        return form == 'v' ? kVariants.find(is) != std::string_view::npos : is == form;
    });
}

bool take_guid(std::size_t operation, std::string_view& text, Bindings& bindings) {
    const std::string guid(text.substr(0, kGuidLength));
    if (!is_random_guid(guid) || !bindings.bind(operation, guid)) return false;
    text.remove_prefix(kGuidLength);
    return true;
}

bool take_instant(std::string_view& text, Bindings& bindings) {
    std::int64_t seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (error != std::errc() || seconds < bindings.earliest_instant() || seconds > present()) return false;
    bindings.instants().push_back(seconds);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

/// The text up to the next special part of the pattern.
std::string_view literal_of(std::string_view pattern) {
    return pattern.substr(0, std::min(pattern.find(kGuidBegin), pattern.find_first_of("\x03\x04")));
}

bool skip_any(std::string_view pattern, std::string_view& text) {
    const std::string_view next = literal_of(pattern);
    const std::size_t at = next.empty() ? text.size() : text.find(next);
    if (at == std::string_view::npos) return false;
    text.remove_prefix(at);
    return true;
}

/// Matches one part of the pattern and removes it from both.
bool match_part(std::string_view& pattern, std::string_view& text, Bindings& bindings) {
    if (pattern.starts_with(kGuidBegin)) return take_guid(take_operation(pattern), text, bindings);
    if (pattern.starts_with(kPresentInstant)) {
        pattern.remove_prefix(kPresentInstant.size());
        return take_instant(text, bindings);
    }
    if (pattern.starts_with(kAnyText)) {
        pattern.remove_prefix(kAnyText.size());
        return skip_any(pattern, text);
    }
    const std::string_view literal = literal_of(pattern);
    if (!text.starts_with(literal)) return false;
    pattern.remove_prefix(literal.size());
    text.remove_prefix(literal.size());
    return true;
}

}  // namespace

std::int64_t present() {
    return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now())
        .time_since_epoch()
        .count();
}

std::string guid_of_operation(std::size_t operation) {
    return fmt::format("{}{:012x}", kGuidBegin, operation);
}

std::string Bindings::guid(std::size_t operation) const {
    const auto known = guids_.find(operation);
    return known == guids_.end() ? std::string() : known->second;
}

bool Bindings::bind(std::size_t operation, const std::string& guid) {
    const auto known = guids_.find(operation);
    if (known != guids_.end()) return known->second == guid;
    if (!taken_.insert(guid).second) return false;
    guids_.emplace(operation, guid);
    return true;
}

void Bindings::forget_all_but(const std::function<bool(std::size_t operation)>& kept) {
    std::erase_if(guids_, [&](const auto& known) {
        if (kept(known.first)) return false;
        taken_.erase(known.second);
        return true;
    });
}

bool matches(std::string_view pattern, std::string_view text, Bindings& bindings) {
    while (!pattern.empty()) {
        if (!match_part(pattern, text, bindings)) return false;
    }
    return text.empty();
}

std::string difference(std::string_view pattern, std::string_view text, Bindings bindings) {
    const std::string_view whole = text;
    while (!pattern.empty()) {
        std::string_view rest = pattern;
        if (!match_part(rest, text, bindings)) break;
        pattern = rest;
    }
    if (pattern.empty() && text.empty()) return {};
    const std::string should = described(pattern, bindings);
    const auto [is, expected] = std::ranges::mismatch(text, should);
    const auto offset = static_cast<std::size_t>(is - whole.begin());
    const std::size_t context = std::min(offset, kContext);
    const auto excerpt = [](std::string_view from) {
        return from.empty() ? "the end" : from.substr(0, kContext);
    };
    return fmt::format(
        "at byte {}, after \"{}\": found {}; expected {}", offset, whole.substr(offset - context, context),
        excerpt(std::string_view(is, text.end())),
        excerpt(std::string_view(should).substr(static_cast<std::size_t>(expected - should.begin()))));
}

std::string shortened(std::string_view text) {
    if (text.size() <= 4 * kContext) return std::string(text);
    return fmt::format("{} ... {}", text.substr(0, 2 * kContext), text.substr(text.size() - 2 * kContext));
}

std::string described(std::string_view pattern, const Bindings& bindings) {
    std::string text;
    while (!pattern.empty()) {
        if (pattern.starts_with(kGuidBegin)) {
            const std::size_t operation = take_operation(pattern);
            const std::string guid = bindings.guid(operation);
            text += guid.empty() ? fmt::format("(GUID of operation {})", operation) : guid;
        } else if (pattern.starts_with(kPresentInstant) || pattern.starts_with(kAnyText)) {
            text += pattern.starts_with(kAnyText) ? "..." : "(present instant)";
            pattern.remove_prefix(1);
        } else {
            const std::string_view literal = literal_of(pattern);
            text += literal;
            pattern.remove_prefix(literal.size());
        }
    }
    return text;
}

}  // namespace recorder
