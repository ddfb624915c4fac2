#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/ps/trial.h"

namespace ps_tool {

/// Why a clip is not converted, or its recording would not be what the clip is.
struct Finding {
    std::string rule;          // a short name that stays the same
    std::string box;           // type of the box; empty where it is about no box
    std::uint64_t offset = 0;  // bytes from the start of the clip
    std::string text;
};

/// Looks at the clip's boxes and samples for the reasons of what the trial met. Nothing for a clip that is
/// converted whole into what it is.
[[nodiscard]] std::vector<Finding> diagnose(const std::string& clip, const Trial& trial);

/// The four characters of a type, dots for those that cannot be printed.
[[nodiscard]] std::string name_of(BoxType type);

}  // namespace ps_tool
