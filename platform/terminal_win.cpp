#include <fcntl.h>
#include <io.h>

#include <initializer_list>

#include "platform/terminal.h"

namespace platform {

bool is_terminal(std::FILE* stream) {
    return ::_isatty(::_fileno(stream)) != 0;
}

void use_binary_streams() {
    for (std::FILE* stream : {stdin, stdout, stderr}) ::_setmode(::_fileno(stream), _O_BINARY);
}

}  // namespace platform
