#pragma once

#include <string>
#include <vector>

namespace cli {

/// The data files (NAME.ps) that the paths stand for, sorted and each once: a file for itself, an index file
/// for its data file, a directory for all that lie below it, also for those of which only the index is there.
/// Throws CannotRun for a path that is not there, a directory that cannot be read or holds no recording.
[[nodiscard]] std::vector<std::string> recording_paths(const std::vector<std::string>& paths);

}  // namespace cli
