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

/// Converts a hash in hexadecimal digits to a source of a content security policy.
std::string hash_source(std::string_view sha256) {
    std::string hash;
    for (std::size_t i = 0; i + 1 < sha256.size(); i += 2)
        hash += static_cast<char>(hex_digit(sha256[i]) * 16 + hex_digit(sha256[i + 1]));
    return "'sha256-" + cli::base64(hash) + "'";
}

/// Escapes '<', so that no text can end the script element.
std::string script_safe(const cli::Json& document) {
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
        "img-src data:; frame-src file:; base-uri 'none'; form-action 'none'\">\n"
        "<meta name=\"viewport\" content=\"width=device-width\">\n<title>Recordings</title>\n"
        "<style>{}</style>\n</head>\n{}"
        "<script type=\"application/json\" id=\"document\">{}</script>\n<script>{}</script>\n</html>\n",
        hash_source(kStyleHash), hash_source(kScriptHash), kStyle, kBody, script_safe(document), kScript);
}

}  // namespace ps_tool
