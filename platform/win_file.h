#pragma once

// A descriptor of the C runtime with an owner. Included by the _win files only.

#include <cstdint>
#include <span>

#include "platform/bytes.h"
#include "platform/text.h"

namespace platform {

class WinFile {
  public:
    explicit WinFile(int descriptor = -1) noexcept : descriptor_(descriptor) {}
    WinFile(const WinFile&) = delete;
    WinFile& operator=(const WinFile&) = delete;
    WinFile(WinFile&& other) noexcept;
    WinFile& operator=(WinFile&&) = delete;
    ~WinFile() { close(); }

    /// Opens in binary, not inherited, shared with other readers and writers; empty on failure.
    [[nodiscard]] static WinFile open(const Path& path, int flags, int mode = 0);

    explicit operator bool() const noexcept { return descriptor_ >= 0; }

    /// Whether it is no device, pipe or console.
    [[nodiscard]] bool is_on_disk() const noexcept;

    /// One read or write; the count moved or -1.
    std::int64_t read(std::span<Byte> to) const noexcept;
    std::int64_t write(std::span<const Byte> bytes) const noexcept;

    /// Moves to an offset from the given origin (SEEK_SET and so on): the new position or -1.
    std::int64_t seek(std::int64_t offset, int origin) const noexcept;

    /// Everything written so far is on the disk when this is true.
    [[nodiscard]] bool flush_to_disk() const noexcept;
    bool close() noexcept;

  private:
    int descriptor_;
};

}  // namespace platform
