#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace cli {

/// Text from outside, such as a path, for the stream. On a terminal, control characters, which could move the
/// cursor or hide text, are shown in hexadecimal.
[[nodiscard]] std::string printable(std::string_view text, std::FILE* stream = stdout);

}  // namespace cli
