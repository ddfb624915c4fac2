#include "tools/ps/report/page.h"

#include <fmt/format.h>

#include <string_view>

#include "tools/ps/report/page_assets.h"

namespace ps_tool {
namespace {

unsigned hex_digit(char c) {
    return static_cast<unsigned>(c <= '9' ? c - '0' : c - 'a' + 10);
}

/// What a content security policy calls a hash: base64 of it, of 32 bytes given in hexadecimal digits.
std::string source_of(std::string_view sha256) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text = "'sha256-";
    unsigned bits = 0;
    unsigned held = 0;
    for (const char c : sha256) {
        bits = bits << 4U | hex_digit(c);
        for (held += 4; held >= 6; held -= 6) text += kDigits[bits >> (held - 6) & 0x3FU];
    }
    text += kDigits[bits << (6 - held) & 0x3FU];
    return text + "='";
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
