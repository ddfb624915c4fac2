#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/ps/dry_run.h"

namespace ps_tool {

/// A reason why a clip is refused or its recording differs from the clip.
struct Finding {
    std::string rule;          // a short, stable name
    std::string box;           // type of the box, or empty
    std::uint64_t offset = 0;  // bytes from the start of the clip
    std::string text;
};

/// Looks for the reasons of the result in the clip's boxes and samples. Returns nothing for a clip that is
/// converted completely and correctly.
[[nodiscard]] std::vector<Finding> diagnose(const std::string& clip, const DryRun& dry_run);

/// The four characters of a type, with a dot for each that is not printable.
[[nodiscard]] std::string name_of(BoxType type);

}  // namespace ps_tool
