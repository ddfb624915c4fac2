#include "platform/posix_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform {

PosixFile PosixFile::open(const std::string& path, int flags, ::mode_t mode) {
    return PosixFile(uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC, mode); }));
}

std::int64_t PosixFile::write(std::span<const Byte> bytes) const noexcept {
    return uninterrupted([&] { return ::write(descriptor_, bytes.data(), bytes.size()); });
}

bool PosixFile::close() noexcept {
    const int descriptor = release();
    // Not repeated after EINTR: the descriptor is already closed, and another thread may have reused its
    // number.
    return descriptor < 0 || ::close(descriptor) == 0 || errno == EINTR;
}

int PosixFile::release() noexcept {
    return std::exchange(descriptor_, -1);
}

}  // namespace platform
