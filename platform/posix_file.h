#pragma once

// A file descriptor with an owner. Included by the _posix files only.

#include <sys/types.h>

#include <cerrno>
#include <cstdint>
#include <span>
#include <string>

#include "platform/bytes.h"

namespace platform {

/// Makes a system call again as long as a signal interrupts it, which on some file systems any call can be.
template <typename Call>
auto uninterrupted(Call call) noexcept {
    auto result = call();
    while (result == -1 && errno == EINTR) result = call();
    return result;
}

class PosixFile {
  public:
    PosixFile() = default;
    explicit PosixFile(int descriptor) noexcept : descriptor_(descriptor) {}
    PosixFile(const PosixFile&) = delete;
    PosixFile& operator=(const PosixFile&) = delete;
    PosixFile(PosixFile&& other) noexcept : descriptor_(other.release()) {}
    PosixFile& operator=(PosixFile&&) = delete;
    ~PosixFile() { close(); }

    /// Opens, close-on-exec, and again when a signal interrupts; empty on failure with errno set.
    [[nodiscard]] static PosixFile open(const std::string& path, int flags, ::mode_t mode = 0);

    explicit operator bool() const noexcept { return descriptor_ >= 0; }
    [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

    /// One write, repeated only when a signal came before the first byte; the count written or -1.
    std::int64_t write_once(std::span<const Byte> bytes) const noexcept;

    /// False when the system reports that something written earlier was lost.
    bool close() noexcept;

  private:
    int release() noexcept;

    int descriptor_ = -1;
};

}  // namespace platform
