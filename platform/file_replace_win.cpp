// The steps of file_replace_posix.cpp, with two differences. A new file inherits the directory's access
// rights. A file that another process has open cannot be replaced by a rename; it is written in place if that
// process shares it for writing.

#include "platform/file_replace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <windows.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <cstdlib>

#include "platform/common_file_system.h"
#include "platform/win_file.h"

namespace platform {
namespace {

namespace fs = boost::filesystem;

constexpr int kNewFileMode = _S_IREAD | _S_IWRITE;

bool write_in_place(const Path& path, std::string_view content) {
    WinFile file = WinFile::open(path, _O_WRONLY | _O_CREAT | _O_TRUNC, kNewFileMode);
    return file && write_all(file, content) && file.close();
}

/// False for a file without write permission, and for anything but a regular file.
bool may_replace(const Path& target) {
    boost::system::error_code error;
    const fs::file_status status = fs::status(target, error);
    if (!fs::exists(status)) return status.type() == fs::file_not_found;
    return fs::is_regular_file(status) && static_cast<bool>(WinFile::open(target, _O_WRONLY));
}

bool rename_over(const Path& temporary, const Path& target) {
    const DWORD flags = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
    return ::MoveFileExW(temporary.c_str(), target.c_str(), flags) != 0;
}

}  // namespace

bool replace_file(const std::string& path, std::string_view content) {
    const Path target = resolve_links(path_of(path));
    if (!may_replace(target)) return false;
    Path temporary = target.parent_path() / path_of(path).filename();
    temporary += ".new";

    ::DeleteFileW(temporary.c_str());  // left by an interrupted save
    WinFile file = WinFile::open(temporary, _O_WRONLY | _O_CREAT | _O_EXCL, kNewFileMode);
    if (!file) return _doserrno == ERROR_ACCESS_DENIED && write_in_place(target, content);
    const bool written = write_all(file, content) && file.flush_to_disk() && file.close();
    const bool disk_full = !written && errno == ENOSPC;
    if (written && rename_over(temporary, target)) return true;
    const DWORD error = ::GetLastError();
    const bool open_elsewhere = written && (error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION);
    boost::system::error_code no_size;
    const std::uintmax_t old_size = fs::file_size(target, no_size);
    const bool shorter = !no_size && content.size() < old_size;
    file.close();
    ::DeleteFileW(temporary.c_str());
    return (open_elsewhere || (disk_full && shorter)) && write_in_place(target, content);
}

}  // namespace platform
