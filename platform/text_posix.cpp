#include "platform/text.h"

#include <algorithm>

namespace platform {

Path path_of(const std::string& narrow) {
    return Path(narrow);
}

std::string narrow_text(const Path& path) {
    return path.native();
}

std::string file_name_of(std::string text) {
    std::ranges::replace(text, '/', '_');
    return text;
}

}  // namespace platform
