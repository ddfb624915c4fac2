#pragma once

// Only the _posix files include this header.

#include <sys/types.h>

#include <cerrno>
#include <cstdint>
#include <span>
#include <string>

#include "platform/bytes.h"

namespace platform {

/// Repeats a system call while signals interrupt it. On some file systems this can happen to any call.
template <typename Call>
auto uninterrupted(Call call) noexcept {
    auto result = call();
    while (result == -1 && errno == EINTR) result = call();
    return result;
}

/// Owns a file descriptor and closes it in the destructor.
class PosixFile {
  public:
    PosixFile() = default;
    explicit PosixFile(int descriptor) noexcept : descriptor_(descriptor) {}
    PosixFile(const PosixFile&) = delete;
    PosixFile& operator=(const PosixFile&) = delete;
    PosixFile(PosixFile&& other) noexcept : descriptor_(other.release()) {}
    PosixFile& operator=(PosixFile&&) = delete;
    ~PosixFile() { close(); }

    /// Opens with O_CLOEXEC. Empty on failure, with errno set.
    [[nodiscard]] static PosixFile open(const std::string& path, int flags, ::mode_t mode = 0);

    explicit operator bool() const noexcept { return descriptor_ >= 0; }
    [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

    /// Calls write once, or again if a signal interrupted it before the first byte. Returns the number of
    /// bytes written, or -1.
    std::int64_t write(std::span<const Byte> bytes) const noexcept;

    /// False if the system reports that earlier written bytes were lost.
    bool close() noexcept;

  private:
    int release() noexcept;

    int descriptor_ = -1;
};

}  // namespace platform
