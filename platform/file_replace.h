#pragma once

#include <string>
#include <string_view>

namespace platform {

/// Implements FileSystem::replace_whole. Only the _posix and _win files include this header.
[[nodiscard]] bool replace_file(const std::string& path, std::string_view content);

}  // namespace platform
