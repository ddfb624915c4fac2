#include <unistd.h>

#include "platform/terminal.h"

namespace platform {

bool is_terminal(std::FILE* stream) {
    return ::isatty(::fileno(stream)) != 0;
}

void use_binary_streams() {}

}  // namespace platform
