#pragma once

#include <string>
#include <vector>

#include "tools/cli/unusable_inputs.h"

namespace cli {

/// The data files (NAME.ps) of the recordings that the paths name, sorted and without duplicates. A path is a
/// data file, an index file or a directory, which names every recording below it. A recording whose data file
/// is missing counts too. Unusable are a path that does not exist, and a directory that cannot be read or
/// contains no recording.
[[nodiscard]] std::vector<std::string> recording_paths(const std::vector<std::string>& paths,
                                                       UnusableInputs& unusable);

}  // namespace cli
