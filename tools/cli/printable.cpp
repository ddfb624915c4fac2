#include "tools/cli/printable.h"

#include <fmt/format.h>

#include "platform/terminal.h"

namespace cli {

std::string printable(std::string_view text, std::FILE* stream) {
    constexpr unsigned char kDelete = 0x7F;
    if (!platform::is_terminal(stream)) return std::string(text);
    std::string shown;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte == kDelete)
            shown += fmt::format("\\x{:02X}", byte);
        else
            shown += c;
    }
    return shown;
}

}  // namespace cli
