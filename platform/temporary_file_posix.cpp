#include "platform/temporary_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

#include "platform/posix_file.h"

namespace platform {
namespace {

constexpr ::mode_t kNewFileMode = 0666;

constexpr std::array kTerminations{SIGINT, SIGTERM, SIGHUP, SIGQUIT};

/// The paths of the objects that exist. Signal handlers may only use lock-free atomic variables.
std::array<std::atomic<const char*>, 64> paths;
static_assert(std::atomic<const char*>::is_always_lock_free);

extern "C" void remove_files_and_end(int number) {
    for (const auto& path : paths) {
        const char* const name = path.load();
        if (name != nullptr) (void)::unlink(name);
    }
    (void)::raise(number);  // delivered after the return, with the default action
}

void handle_signals() {
    for (const int number : kTerminations) {
        struct ::sigaction action {};
        // nohup and shells have set the signals that a process shall survive to be ignored.
        if (::sigaction(number, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) continue;
        action.sa_handler = remove_files_and_end;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        (void)::sigaction(number, &action, nullptr);
    }
    struct ::sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    (void)::sigaction(SIGXFSZ, &ignore, nullptr);
}

}  // namespace

std::FILE* create_new_file(const std::string& path) {
    const int descriptor = uninterrupted(
        [&] { return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNewFileMode); });
    return descriptor < 0 ? nullptr : ::fdopen(descriptor, "wb");
}

bool flush_to_disk(std::FILE* file) {
    return std::fflush(file) == 0 && uninterrupted([&] { return ::fsync(::fileno(file)); }) == 0;
}

RemovedOnTermination::RemovedOnTermination(std::string path) : path_(std::move(path)) {
    static const bool handled = (handle_signals(), true);
    (void)handled;
    for (auto& slot : paths) {
        const char* empty = nullptr;
        if (slot.compare_exchange_strong(empty, path_.c_str())) break;
    }
}

RemovedOnTermination::~RemovedOnTermination() {
    for (auto& slot : paths) {
        const char* own = path_.c_str();
        if (slot.compare_exchange_strong(own, nullptr)) break;
    }
}

struct DelayedTermination::State {
    ::sigset_t former{};
};

DelayedTermination::DelayedTermination() : state_(std::make_unique<State>()) {
    ::sigset_t delayed{};
    (void)::sigemptyset(&delayed);
    for (const int number : kTerminations) (void)::sigaddset(&delayed, number);
    (void)::pthread_sigmask(SIG_BLOCK, &delayed, &state_->former);
}

DelayedTermination::~DelayedTermination() {
    (void)::pthread_sigmask(SIG_SETMASK, &state_->former, nullptr);
}

}  // namespace platform
