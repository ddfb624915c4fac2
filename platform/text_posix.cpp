#include "platform/text.h"

namespace platform {

Path path_of(const std::string& narrow) {
    return Path(narrow);
}

std::string narrow_text(const Path& path) {
    return path.native();
}

}  // namespace platform
