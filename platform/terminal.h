#pragma once

#include <cstdio>

namespace platform {

/// Whether a person is looking at the stream.
[[nodiscard]] bool is_terminal(std::FILE* stream);

/// Has the standard streams carry a program's bytes as they are, line ends too.
void keep_line_ends();

}  // namespace platform
