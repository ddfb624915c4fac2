// Replaces a file atomically: writes the new content to a temporary file in the same directory, whose name
// ends with ".new", flushes it to the disk, and renames it over the old file.
//
// - A link at the path is kept. The file that it leads to is replaced, and the temporary file is next to it.
// - A new file gets mode 0666 less the umask. An existing file keeps its mode.
// - A file without write permission is kept, because replacing it would bypass its permissions.
// - The old file is overwritten in place if the directory does not permit a new file (EACCES, EPERM, EROFS)
//   or a rename over the old one (EACCES or EPERM in a sticky directory, EBUSY for a mount point), or if the
//   new file cannot get the old one's mode.
// - If the disk is full, content that is shorter than the old file overwrites it in place.
// - Anything but a regular file, for example a device, is written in place: a rename would remove it.
// - After any other failure the old file is kept and the temporary one is removed.

#include "platform/file_replace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <optional>

#include "platform/common_file_system.h"
#include "platform/posix_file.h"

namespace platform {
namespace {

constexpr ::mode_t kNewFileMode = 0666;

/// What exists at the path before the replacement. `found` is false if nothing exists.
struct Existing {
    bool found = false;
    bool regular = false;
    bool writable = false;
    ::mode_t mode = 0;
    ::off_t size = 0;
};

bool is_full(int error) {
    return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

/// Overwrites the old file. If the disk has no space for longer content, the file is left as it was.
bool write_in_place(const std::string& path, const Existing& old, std::string_view content) {
    // Non-blocking, because opening a FIFO without a reader would block.
    PosixFile file =
        PosixFile::open(path, O_WRONLY | O_NONBLOCK | O_NOCTTY | (old.found ? 0 : O_CREAT), kNewFileMode);
    if (!file) return false;
    if (old.found && !old.regular) return write_all(file, content) && file.close();
    const auto size = static_cast<::off_t>(content.size());
    const auto set_size = [&](::off_t to) {
        return uninterrupted([&] { return ::ftruncate(file.descriptor(), to); }) == 0;
    };
    if (size > old.size && is_full(::posix_fallocate(file.descriptor(), 0, size))) {
        (void)set_size(old.size);
        return false;
    }
    const auto flush = [&] { return ::fsync(file.descriptor()); };
    return write_all(file, content) && set_size(size) && uninterrupted(flush) == 0 && file.close();
}

/// Empty if the path cannot be examined, for example in a loop of links or a directory without search
/// permission.
std::optional<Existing> examine(const std::string& path) {
    struct ::stat status {};
    if (uninterrupted([&] { return ::stat(path.c_str(), &status); }) != 0)
        return errno == ENOENT ? std::optional(Existing{}) : std::nullopt;
    Existing existing{.found = true,
                      .regular = S_ISREG(status.st_mode),
                      .mode = status.st_mode & 07777U,
                      .size = status.st_size};
    if (existing.regular) existing.writable = static_cast<bool>(PosixFile::open(path, O_WRONLY | O_NONBLOCK));
    return existing;
}

/// Creates the temporary file, after removing one that an interrupted save left. Empty on failure, with errno
/// set.
PosixFile create_temporary(const std::string& path) {
    const int remove_error = uninterrupted([&] { return ::unlink(path.c_str()); }) == 0 ? 0 : errno;
    PosixFile file = PosixFile::open(path, O_WRONLY | O_CREAT | O_EXCL, kNewFileMode);
    if (!file && errno == EEXIST) errno = remove_error;
    return file;
}

bool fill(PosixFile& file, const Existing& old, std::string_view content) {
    const auto keep_mode = [&] { return ::fchmod(file.descriptor(), old.mode); };
    if (old.found && uninterrupted(keep_mode) != 0) return false;
    const auto flush = [&] { return ::fsync(file.descriptor()); };
    return write_all(file, content) && uninterrupted(flush) == 0 && file.close();
}

/// Returns 0, or the error that prevented the replacement and left the old file as it was.
int replace_by_rename(const std::string& temporary, const std::string& target, const Existing& old,
                      std::string_view content) {
    PosixFile file = create_temporary(temporary);
    if (!file) return errno;
    const auto rename = [&] { return std::rename(temporary.c_str(), target.c_str()); };
    if (fill(file, old, content) && uninterrupted(rename) == 0) return 0;
    const int error = errno;
    file.close();
    uninterrupted([&] { return ::unlink(temporary.c_str()); });
    return error != 0 ? error : EIO;
}

bool may_write_in_place(int error, const Existing& old, std::string_view content) {
    if (is_full(error)) return content.size() < static_cast<std::size_t>(old.size);
    return error == EACCES || error == EPERM || error == EROFS || error == EBUSY;
}

}  // namespace

bool replace_file(const std::string& path, std::string_view content) {
    const Path target_path = resolve_links(path);
    const std::string& target = target_path.native();
    const std::string temporary = (target_path.parent_path() / Path(path).filename()).native() + ".new";

    const std::optional<Existing> old = examine(target);
    if (!old) return false;
    if (old->found && !old->regular) return write_in_place(target, *old, content);
    if (old->found && !old->writable) return false;
    const int error = replace_by_rename(temporary, target, *old, content);
    return error == 0 || (may_write_in_place(error, *old, content) && write_in_place(target, *old, content));
}

}  // namespace platform
