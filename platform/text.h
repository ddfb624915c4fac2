#pragma once

// Conversion of paths between the host's texts and the file system.

#include <boost/filesystem/path.hpp>
#include <string>

namespace platform {

using Path = boost::filesystem::path;

/// Converts narrow text to a path and back. On POSIX systems paths are bytes and stay unchanged, valid UTF-8
/// or not. On Windows the text is in the system's code page.
[[nodiscard]] Path path_of(const std::string& narrow);
[[nodiscard]] std::string narrow_text(const Path& path);

/// Follows symbolic links in the last component of the path. The target need not exist.
[[nodiscard]] Path resolve_links(Path path);

/// Replaces each character that the file system forbids in file names by "_".
[[nodiscard]] std::string file_name_of(std::string text);

}  // namespace platform
