#pragma once

#include <string>
#include <string_view>

namespace platform {

/// FileSystem::replace_whole. Included by the files of the systems only.
[[nodiscard]] bool replace_file(const std::string& path, std::string_view content);

}  // namespace platform
