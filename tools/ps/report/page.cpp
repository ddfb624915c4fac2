#include "tools/ps/report/page.h"

#include <fmt/format.h>

#include <string_view>

#include "tools/cli/base64.h"
#include "tools/ps/report/page_assets.h"

namespace ps_tool {
namespace {

int hex_digit(char c) {
    return c <= '9' ? c - '0' : c - 'a' + 10;
}

/// What a content security policy calls a hash, given in hexadecimal digits.
std::string source_of(std::string_view sha256) {
    std::string hash;
    for (std::size_t i = 0; i + 1 < sha256.size(); i += 2)
        hash += static_cast<char>(hex_digit(sha256[i]) * 16 + hex_digit(sha256[i + 1]));
    return "'sha256-" + cli::base64(hash) + "'";
}

/// JSON that nothing in it can end: not even a name with an end tag.
std::string embedded(const cli::Json& document) {
    const std::string text = document.dump(-1, ' ', false, cli::Json::error_handler_t::replace);
    std::string safe;
    safe.reserve(text.size());
    for (const char c : text) c == '<' ? safe += "\\u003c" : safe += c;
    return safe;
}

}  // namespace

std::string report_page(const cli::Json& document) {
    return fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src {}; script-src "
        "{}; "
        "base-uri 'none'; form-action 'none'\">\n"
        "<meta name=\"viewport\" content=\"width=device-width\">\n<title>Recordings</title>\n"
        "<style>{}</style>\n</head>\n{}"
        "<script type=\"application/json\" id=\"document\">{}</script>\n<script>{}</script>\n</html>\n",
        source_of(kStyleHash), source_of(kScriptHash), kStyle, kBody, embedded(document), kScript);
}

}  // namespace ps_tool
