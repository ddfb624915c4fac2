#pragma once

// Paths as the host's texts carry them and as the file system takes them.

#include <boost/filesystem/path.hpp>
#include <string>

namespace platform {

using Path = boost::filesystem::path;

/// Narrow text to a path and back. Here paths are bytes and pass through unchanged, also when they are no
/// valid UTF-8; where paths are wide they go through the system's code page.
[[nodiscard]] Path path_of(const std::string& narrow);
[[nodiscard]] std::string narrow_text(const Path& path);

/// A name that a file can have: what the file system forbids in names is replaced by "_".
[[nodiscard]] std::string file_name_of(std::string text);

}  // namespace platform
