#pragma once

// Only the _win files include this header.

#include <cstdint>
#include <span>

#include "platform/bytes.h"
#include "platform/text.h"

namespace platform {

/// Owns a descriptor of the C runtime and closes it in the destructor.
class WinFile {
  public:
    explicit WinFile(int descriptor = -1) noexcept : descriptor_(descriptor) {}
    WinFile(const WinFile&) = delete;
    WinFile& operator=(const WinFile&) = delete;
    WinFile(WinFile&& other) noexcept;
    WinFile& operator=(WinFile&&) = delete;
    ~WinFile() { close(); }

    /// Opens in binary mode, not inheritable, and shared with other readers and writers. Empty on failure.
    [[nodiscard]] static WinFile open(const Path& path, int flags, int mode = 0);

    explicit operator bool() const noexcept { return descriptor_ >= 0; }

    /// False for a device, pipe or console.
    [[nodiscard]] bool is_disk_file() const noexcept;

    /// Calls read or write once. Returns the number of bytes transferred, or -1.
    std::int64_t read(std::span<Byte> to) const noexcept;
    std::int64_t write(std::span<const Byte> bytes) const noexcept;

    /// Moves to an offset from SEEK_SET, SEEK_CUR or SEEK_END. Returns the new position, or -1.
    std::int64_t seek(std::int64_t offset, int origin) const noexcept;

    /// Writes all data to the disk. False on failure.
    [[nodiscard]] bool flush_to_disk() const noexcept;
    bool close() noexcept;

  private:
    int descriptor_;
};

}  // namespace platform
