#include <io.h>

#include "tools/cli/terminal.h"

namespace cli {

bool is_terminal(std::FILE* stream) {
    return ::_isatty(::_fileno(stream)) != 0;
}

}  // namespace cli
