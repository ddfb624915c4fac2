// The steps of file_replace_posix.cpp with what this system has: the new content is written beside the old
// one under the name with ".new" behind, flushed to the disk, and moved over it in one step. Access rights
// are the directory's.

#include "platform/file_replace_win.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <windows.h>

#include <boost/filesystem/operations.hpp>

#include "platform/win_file.h"

namespace platform {
namespace {

namespace fs = boost::filesystem;

bool write_all(const WinFile& file, std::string_view content) {
    while (!content.empty()) {
        const auto put = file.write(bytes_of(content));
        if (put <= 0) return false;
        content.remove_prefix(static_cast<std::size_t>(put));
    }
    return true;
}

bool write_file(const Path& path, std::string_view content) {
    WinFile file = WinFile::open(path, _O_WRONLY | _O_CREAT | _O_TRUNC, _S_IREAD | _S_IWRITE);
    return file && write_all(file, content) && file.flush_to_disk() && file.close();
}

Path behind_links(const Path& path) {
    boost::system::error_code error;
    const Path real = fs::canonical(path, error);
    return error ? path : real;
}

/// A file that could not have been written in place stays as it is, and so does what is no file.
bool may_replace(const Path& target) {
    boost::system::error_code error;
    const fs::file_status status = fs::status(target, error);
    if (!fs::exists(status)) return status.type() == fs::file_not_found;
    return fs::is_regular_file(status) && static_cast<bool>(WinFile::open(target, _O_WRONLY));
}

}  // namespace

bool replace_file(const std::string& path, std::string_view content) {
    const Path target = behind_links(path_of(path));
    if (!may_replace(target)) return false;
    Path beside = target.parent_path() / path_of(path).filename();
    beside += ".new";
    if (!write_file(beside, content)) {
        const bool forbidden = ::GetLastError() == ERROR_ACCESS_DENIED;
        ::DeleteFileW(beside.c_str());
        return forbidden && write_file(target, content);
    }
    const DWORD how = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
    if (::MoveFileExW(beside.c_str(), target.c_str(), how) != 0) return true;
    ::DeleteFileW(beside.c_str());
    return false;
}

}  // namespace platform
