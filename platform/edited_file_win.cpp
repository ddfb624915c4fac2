#include "platform/edited_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "platform/text.h"
#include "platform/win_file.h"

namespace platform {
namespace {

std::error_code reason_of_failure() {
    return {errno != 0 ? errno : EIO, std::generic_category()};
}

class WinEdited final : public EditedFile {
  public:
    explicit WinEdited(WinFile file) : file_(std::move(file)) {}

    std::error_code write_at(std::uint64_t position, std::span<const Byte> bytes) override {
        if (file_.seek(static_cast<std::int64_t>(position), SEEK_SET) < 0) return reason_of_failure();
        while (!bytes.empty()) {
            errno = 0;
            const std::int64_t put = file_.write(bytes);
            if (put <= 0) return reason_of_failure();
            bytes = bytes.subspan(static_cast<std::size_t>(put));
        }
        return {};
    }

    std::error_code flush() override {
        return file_.flush_to_disk() ? std::error_code() : reason_of_failure();
    }

  private:
    WinFile file_;
};

}  // namespace

std::unique_ptr<EditedFile> open_edited(const std::string& path, Edit kind, std::error_code& error) {
    const int flags = kind == Edit::kNew ? _O_WRONLY | _O_CREAT | _O_EXCL : _O_WRONLY;
    WinFile file = WinFile::open(path_of(path), flags, _S_IREAD | _S_IWRITE);
    error = file ? std::error_code() : reason_of_failure();
    return file ? std::make_unique<WinEdited>(std::move(file)) : nullptr;
}

std::error_code copy_owner_and_mode(const std::string&, const std::string&) {
    return {};
}

}  // namespace platform
