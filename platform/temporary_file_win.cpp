#include "platform/temporary_file.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cerrno>
#include <mutex>
#include <set>

#include "platform/text.h"

namespace platform {
namespace {

/// The system calls the handler on a thread of its own, so it may lock.
std::mutex paths_mutex;
std::multiset<std::string> paths;
std::mutex delay_mutex;

BOOL WINAPI remove_files(DWORD /*event*/) {
    const std::scoped_lock lock(delay_mutex, paths_mutex);
    for (const std::string& path : paths) ::DeleteFileW(path_of(path).c_str());
    return FALSE;  // the next handler ends the process
}

}  // namespace

std::FILE* create_new_file(const std::string& path) {
    const ::HANDLE handle = ::CreateFileW(path_of(path).c_str(), GENERIC_WRITE,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                          CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const DWORD error = ::GetLastError();
        const bool exists = error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS;
        const bool missing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
        errno = exists ? EEXIST : missing ? ENOENT : EACCES;
        return nullptr;
    }
    const int descriptor = ::_open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_BINARY);
    return descriptor < 0 ? nullptr : ::_fdopen(descriptor, "wb");
}

bool flush_to_disk(std::FILE* file) {
    return std::fflush(file) == 0 && ::_commit(::_fileno(file)) == 0;
}

RemovedOnTermination::RemovedOnTermination(std::string path) : path_(std::move(path)) {
    static const BOOL handled = ::SetConsoleCtrlHandler(remove_files, TRUE);
    (void)handled;
    const std::lock_guard lock(paths_mutex);
    paths.insert(path_);
}

RemovedOnTermination::~RemovedOnTermination() {
    const std::lock_guard lock(paths_mutex);
    paths.erase(paths.find(path_));
}

struct DelayedTermination::State {
    std::lock_guard<std::mutex> lock{delay_mutex};
};

DelayedTermination::DelayedTermination() : state_(std::make_unique<State>()) {}

DelayedTermination::~DelayedTermination() = default;

}  // namespace platform
