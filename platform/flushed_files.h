#pragma once

// Which files this program and its libraries flush to the disk. A component of its own: on systems where a
// program's functions take precedence over those of the C library, it replaces fsync and fdatasync, and only
// a tool wants that.

#include <string>

namespace platform {

enum class Flushed { kYes, kNo, kUnknown };

/// Whether the file at the path has been flushed since its last change.
[[nodiscard]] Flushed flushed(const std::string& path);

}  // namespace platform
