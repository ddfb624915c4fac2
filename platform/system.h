#pragma once

#include "platform/clock.h"
#include "platform/file.h"

namespace platform {

/// What the components need of the system they run on, none of it owned.
struct System {
    FileSystem& files;
    Sleeper& sleeper;
    const Clock& clock;
};

/// The one that is really there.
[[nodiscard]] inline System real_system() {
    return {system_files(), system_sleeper(), system_clock()};
}

}  // namespace platform
