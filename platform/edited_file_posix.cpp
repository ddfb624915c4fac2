#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/edited_file.h"
#include "platform/posix_file.h"

namespace platform {
namespace {

std::error_code last_error() {
    return {errno != 0 ? errno : EIO, std::generic_category()};
}

class PosixEdited final : public EditedFile {
  public:
    explicit PosixEdited(PosixFile file) : file_(std::move(file)) {}

    std::error_code write_at(std::uint64_t position, std::span<const Byte> bytes) override {
        while (!bytes.empty()) {
            errno = 0;
            const ::ssize_t put = uninterrupted([&] {
                return ::pwrite(file_.descriptor(), bytes.data(), bytes.size(),
                                static_cast<::off_t>(position));
            });
            if (put <= 0) return last_error();
            position += static_cast<std::uint64_t>(put);
            bytes = bytes.subspan(static_cast<std::size_t>(put));
        }
        return {};
    }

    std::error_code flush() override {
        return uninterrupted([&] { return ::fsync(file_.descriptor()); }) == 0 ? std::error_code()
                                                                               : last_error();
    }

  private:
    PosixFile file_;
};

}  // namespace

std::unique_ptr<EditedFile> open_edited(const std::string& path, Edit kind, std::error_code& error) {
    constexpr ::mode_t kNewFileMode = 0666;
    PosixFile file = kind == Edit::kNew ? PosixFile::open(path, O_WRONLY | O_CREAT | O_EXCL, kNewFileMode)
                                        : PosixFile::open(path, O_WRONLY | O_NONBLOCK | O_NOCTTY);
    error = file ? std::error_code() : last_error();
    return file ? std::make_unique<PosixEdited>(std::move(file)) : nullptr;
}

std::error_code copy_owner_and_mode(const std::string& from, const std::string& to) {
    struct ::stat old {};
    struct ::stat now {};
    if (uninterrupted([&] { return ::stat(from.c_str(), &old); }) != 0) return last_error();
    if (uninterrupted([&] { return ::stat(to.c_str(), &now); }) != 0) return last_error();
    const bool same_owner = old.st_uid == now.st_uid && old.st_gid == now.st_gid;
    const auto set_owner = [&] { return ::chown(to.c_str(), old.st_uid, old.st_gid); };
    if (!same_owner && uninterrupted(set_owner) != 0) return last_error();
    constexpr ::mode_t kModeBits = 07777;
    const auto set_mode = [&] { return ::chmod(to.c_str(), old.st_mode & kModeBits); };
    return uninterrupted(set_mode) == 0 ? std::error_code() : last_error();
}

}  // namespace platform
