#pragma once

#include <cstdio>

namespace platform {

/// True if the stream is a terminal.
[[nodiscard]] bool is_terminal(std::FILE* stream);

/// Disables the conversion of line ends in the standard streams.
void use_binary_streams();

}  // namespace platform
