#pragma once

#include <string_view>

namespace ps_tool {

// The files of page/, put into the program by cmake/embed_page.cmake; hashes as hexadecimal digits (SHA-256).
extern const std::string_view kBody;
extern const std::string_view kStyle;
extern const std::string_view kStyleHash;
extern const std::string_view kScript;
extern const std::string_view kScriptHash;

}  // namespace ps_tool
