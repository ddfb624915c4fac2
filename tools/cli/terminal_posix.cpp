#include <unistd.h>

#include "tools/cli/terminal.h"

namespace cli {

bool is_terminal(std::FILE* stream) {
    return ::isatty(::fileno(stream)) == 1;
}

}  // namespace cli
