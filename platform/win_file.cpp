#include "platform/win_file.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <windows.h>

#include <algorithm>
#include <utility>

namespace platform {
namespace {

/// The runtime's sizes are int. The caller repeats larger transfers.
constexpr std::size_t kMaxTransfer = 1U << 30U;

template <typename Span>
unsigned count_of(Span bytes) {
    return static_cast<unsigned>(std::min(bytes.size(), kMaxTransfer));
}

}  // namespace

WinFile::WinFile(WinFile&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

WinFile WinFile::open(const Path& path, int flags, int mode) {
    int descriptor = -1;
    const int all = flags | _O_BINARY | _O_NOINHERIT;
    if (::_wsopen_s(&descriptor, path.c_str(), all, _SH_DENYNO, mode) != 0) return WinFile();
    return WinFile(descriptor);
}

bool WinFile::is_disk_file() const noexcept {
    return ::GetFileType(reinterpret_cast<HANDLE>(::_get_osfhandle(descriptor_))) == FILE_TYPE_DISK;
}

std::int64_t WinFile::read(std::span<Byte> to) const noexcept {
    return ::_read(descriptor_, to.data(), count_of(to));
}

std::int64_t WinFile::write(std::span<const Byte> bytes) const noexcept {
    return ::_write(descriptor_, bytes.data(), count_of(bytes));
}

std::int64_t WinFile::seek(std::int64_t offset, int origin) const noexcept {
    return ::_lseeki64(descriptor_, offset, origin);
}

bool WinFile::flush_to_disk() const noexcept {
    return ::_commit(descriptor_) == 0;
}

bool WinFile::close() noexcept {
    const int descriptor = std::exchange(descriptor_, -1);
    return descriptor < 0 || ::_close(descriptor) == 0;
}

}  // namespace platform
