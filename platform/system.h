#pragma once

#include "platform/clock.h"
#include "platform/file.h"

namespace platform {

/// The operating system's services that the components use. Does not own them.
struct System {
    FileSystem& files;
    Sleeper& sleeper;
    const Clock& clock;
};

/// The services of the real system, as opposed to those of tests.
[[nodiscard]] inline System real_system() {
    return {system_files(), system_sleeper(), system_clock()};
}

}  // namespace platform
