#include "platform/posix_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform {

PosixFile& PosixFile::operator=(PosixFile&& other) noexcept {
    if (this != &other) {
        close();
        descriptor_ = other.release();
    }
    return *this;
}

PosixFile PosixFile::open(const std::string& path, int flags, ::mode_t mode) {
    int descriptor = -1;
    do {
        descriptor = ::open(path.c_str(), flags | O_CLOEXEC, mode);
    } while (descriptor < 0 && errno == EINTR);
    return PosixFile(descriptor);
}

std::int64_t PosixFile::write_once(std::span<const Byte> bytes) const noexcept {
    ::ssize_t put = 0;
    do {
        put = ::write(descriptor_, bytes.data(), bytes.size());
    } while (put < 0 && errno == EINTR);
    return put;
}

bool PosixFile::close() noexcept {
    const int descriptor = release();
    return descriptor < 0 || ::close(descriptor) == 0;
}

int PosixFile::release() noexcept {
    return std::exchange(descriptor_, -1);
}

}  // namespace platform
