#include "tools/recorder/host/watchdog.h"

#include <cstdlib>

#include <fmt/format.h>

#include "tools/cli/exit_status.h"
#include "tools/recorder/host/checked_calls.h"
#include "tools/recorder/host/options.h"

namespace recorder {

Watchdog::Watchdog(std::chrono::seconds patience) : patience_(patience), thread_([this] { watch(); }) {}

Watchdog::~Watchdog() {
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void Watchdog::arm(const std::string& what) {
    const std::lock_guard lock(mutex_);
    guarded_ = what;
    deadline_ = std::chrono::steady_clock::now() + patience_;
    changed_.notify_all();
}

void Watchdog::watch() {
    std::unique_lock lock(mutex_);
    while (!ended_) {
        if (guarded_.empty()) {
            changed_.wait(lock);
        } else if (changed_.wait_until(lock, deadline_) == std::cv_status::timeout && !guarded_.empty() &&
                   std::chrono::steady_clock::now() >= deadline_) {
            const std::string calls = InCall::in_progress();
            cli::print_error(kProgram, fmt::format("the module did not return from {} within {} s",
                                                   calls.empty() ? guarded_ : calls, patience_.count()));
            (void)std::fflush(nullptr);
            std::_Exit(cli::kFailure);  // exit() would run destructors that wait for the same call
        }
    }
}

}  // namespace recorder
