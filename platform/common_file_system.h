#pragma once

#include "platform/file.h"
#include "platform/text.h"

namespace platform {

/// Follows the links at the path itself, also to a file that does not exist yet.
[[nodiscard]] Path resolve_links(Path path);

/// What is the same on every system. Included by the files of the systems only.
class CommonFileSystem : public FileSystem {
  public:
    [[nodiscard]] boost::system::error_code make_directory(const std::string& path, Existing enough) override;
    [[nodiscard]] std::optional<std::string> read_whole(const std::string& path) override;
};

}  // namespace platform
