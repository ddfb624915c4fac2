#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/file.h"

namespace norvane {

/// Renames a file that exists but cannot be read to NAME.damaged and logs that, because the next save would
/// replace it.
void keep_unreadable(platform::FileSystem& files, const std::string& name,
                     const std::function<void(std::int32_t level, const std::string& text)>& log);

}  // namespace norvane
