// The steps of file_replace_posix.cpp with what this system has. Two things differ: access rights of a new
// file are the directory's, and a file that somebody holds open cannot be renamed over; it is written in
// place then, if those who hold it share it, rather than not at all.

#include "platform/file_replace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <windows.h>

#include <boost/filesystem/operations.hpp>
#include <cstdlib>

#include "platform/common_file_system.h"
#include "platform/win_file.h"

namespace platform {
namespace {

namespace fs = boost::filesystem;

constexpr int kNewFileMode = _S_IREAD | _S_IWRITE;

bool write_all(const WinFile& file, std::string_view content) {
    while (!content.empty()) {
        const auto put = file.write(bytes_of(content));
        if (put <= 0) return false;
        content.remove_prefix(static_cast<std::size_t>(put));
    }
    return true;
}

bool write_in_place(const Path& path, std::string_view content) {
    WinFile file = WinFile::open(path, _O_WRONLY | _O_CREAT | _O_TRUNC, kNewFileMode);
    return file && write_all(file, content) && file.close();
}

/// A file that could not have been written in place stays as it is, and so does what is no file.
bool may_replace(const Path& target) {
    boost::system::error_code error;
    const fs::file_status status = fs::status(target, error);
    if (!fs::exists(status)) return status.type() == fs::file_not_found;
    return fs::is_regular_file(status) && static_cast<bool>(WinFile::open(target, _O_WRONLY));
}

bool put_in_place(const Path& beside, const Path& target) {
    const DWORD how = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
    return ::MoveFileExW(beside.c_str(), target.c_str(), how) != 0;
}

}  // namespace

bool replace_file(const std::string& path, std::string_view content) {
    const Path target = resolve_links(path_of(path));
    if (!may_replace(target)) return false;
    Path beside = target.parent_path() / path_of(path).filename();
    beside += ".new";

    ::DeleteFileW(beside.c_str());  // a remainder of a save that was cut short
    WinFile file = WinFile::open(beside, _O_WRONLY | _O_CREAT | _O_EXCL, kNewFileMode);
    if (!file) return _doserrno == ERROR_ACCESS_DENIED && write_in_place(target, content);
    const bool written = write_all(file, content) && file.flush_to_disk() && file.close();
    if (written && put_in_place(beside, target)) return true;
    const DWORD error = ::GetLastError();
    const bool held = written && (error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION);
    file.close();
    ::DeleteFileW(beside.c_str());
    return held && write_in_place(target, content);
}

}  // namespace platform
