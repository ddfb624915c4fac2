// How a file is replaced without a moment at which half of it stands there: the new content is written beside
// the old one under the name with ".new" behind, flushed to the disk, and renamed over it.
//
// - A link at the path stays; the file that it leads to is replaced, with the new one written beside it.
// - A new file gets mode 0666 less umask, an existing one keeps its mode.
// - A file that could not be written in place stays as it is: replacing it would bypass its permissions.
// - Where the directory does not allow a new file (EACCES, EPERM, EROFS) the old one is written in place:
//   there is no other way. So is what is no regular file, a device say, which a rename would remove.
// - On any other failure the old file stays and the new one is removed.

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

bool write_all(const PosixFile& file, std::string_view content) {
    while (!content.empty()) {
        const auto put = file.write_once(bytes_of(content));
        if (put <= 0) return false;
        content.remove_prefix(static_cast<std::size_t>(put));
    }
    return true;
}

bool write_in_place(const std::string& path, std::string_view content) {
    // Non-blocking for a FIFO that nobody reads; without effect on anything that can be written at once.
    PosixFile file =
        PosixFile::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY, kNewFileMode);
    return file && write_all(file, content) && file.close();
}

/// What stands at the path before it is replaced; found is false for nothing at all.
struct Existing {
    bool found = false;
    bool regular = false;
    bool writable = false;
    ::mode_t mode = 0;
};

/// Nothing when the path cannot be examined (a loop of links, a directory that may not be searched).
std::optional<Existing> examine(const std::string& path) {
    struct ::stat status {};
    if (uninterrupted([&] { return ::stat(path.c_str(), &status); }) != 0)
        return errno == ENOENT ? std::optional(Existing{}) : std::nullopt;
    Existing existing{.found = true, .regular = S_ISREG(status.st_mode), .mode = status.st_mode & 07777U};
    if (existing.regular) existing.writable = static_cast<bool>(PosixFile::open(path, O_WRONLY | O_NONBLOCK));
    return existing;
}

/// A fresh file; a remainder of a save that was cut short is removed first. Empty on failure with errno set.
PosixFile create_beside(const std::string& path) {
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

}  // namespace

bool replace_file(const std::string& path, std::string_view content) {
    const Path behind = resolve_links(path);
    const std::string& target = behind.native();
    const std::string beside = (behind.parent_path() / Path(path).filename()).native() + ".new";

    const std::optional<Existing> old = examine(target);
    if (!old) return false;
    if (old->found && !old->regular) return write_in_place(target, content);
    if (old->found && !old->writable) return false;

    PosixFile file = create_beside(beside);
    if (!file) {
        const bool forbidden = errno == EACCES || errno == EPERM || errno == EROFS;
        return forbidden && write_in_place(target, content);
    }
    const auto put_in_place = [&] { return std::rename(beside.c_str(), target.c_str()); };
    if (fill(file, *old, content) && uninterrupted(put_in_place) == 0) return true;
    file.close();
    uninterrupted([&] { return ::unlink(beside.c_str()); });
    return false;
}

}  // namespace platform
