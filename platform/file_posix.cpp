#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "platform/common_file_system.h"
#include "platform/file_replace.h"
#include "platform/posix_file.h"

namespace platform {
namespace {

class PosixInput final : public InputFile {
  public:
    PosixInput(PosixFile file, std::uint64_t size) : file_(std::move(file)), size_(size) {}

    [[nodiscard]] std::uint64_t size() const override { return size_; }

    std::size_t read_at(std::uint64_t position, std::span<Byte> to) override {
        std::size_t done = 0;
        while (done < to.size()) {
            const auto left = to.subspan(done);
            const auto at = static_cast<::off_t>(position + done);
            const ::ssize_t got =
                uninterrupted([&] { return ::pread(file_.descriptor(), left.data(), left.size(), at); });
            if (got <= 0) break;
            done += static_cast<std::size_t>(got);
        }
        return done;
    }

  private:
    PosixFile file_;
    std::uint64_t size_;
};

::iovec vector_of(std::span<const Byte> part) {
    return {const_cast<Byte*>(part.data()), part.size()};  // iovec is not const because reading uses it too
}

class PosixData final : public DataFile {
  public:
    explicit PosixData(PosixFile file) : file_(std::move(file)) {}

    std::int64_t append(const Parts& parts) override {
        const std::array vectors = {vector_of(parts[0]), vector_of(parts[1]), vector_of(parts[2])};
        return uninterrupted(
            [&] { return ::writev(file_.descriptor(), vectors.data(), static_cast<int>(vectors.size())); });
    }

    std::int64_t position() override {
        return uninterrupted([&] { return ::lseek(file_.descriptor(), 0, SEEK_CUR); });
    }

  private:
    PosixFile file_;
};

class PosixIndex final : public IndexFile {
  public:
    explicit PosixIndex(PosixFile file) : file_(std::move(file)) {}

    std::size_t write_at(std::uint64_t position, std::span<const Byte> bytes) override {
        const ::ssize_t put = uninterrupted([&] {
            return ::pwrite(file_.descriptor(), bytes.data(), bytes.size(), static_cast<::off_t>(position));
        });
        return put < 0 ? 0 : static_cast<std::size_t>(put);
    }

  private:
    PosixFile file_;
};

class PosixLog final : public LogFile {
  public:
    explicit PosixLog(PosixFile file) : file_(std::move(file)) {}

    [[nodiscard]] bool append(std::string_view text) override {
        return write_all(file_, text) && uninterrupted([&] { return ::fdatasync(file_.descriptor()); }) == 0;
    }

  private:
    PosixFile file_;
};

bool is_regular(const std::string& path) {
    struct ::stat status {};
    return uninterrupted([&] { return ::stat(path.c_str(), &status); }) == 0 && S_ISREG(status.st_mode);
}

class PosixFileSystem final : public CommonFileSystem {
  public:
    [[nodiscard]] std::unique_ptr<InputFile> open_input(const std::string& path) override {
        if (!is_regular(path)) return nullptr;
        // The file may have been replaced since: O_NONBLOCK does not wait for a FIFO's writer, and fstat
        // checks the type again.
        PosixFile file = PosixFile::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
        struct ::stat status {};
        const bool known = file && uninterrupted([&] { return ::fstat(file.descriptor(), &status); }) == 0;
        if (!known || !S_ISREG(status.st_mode)) return nullptr;
        return std::make_unique<PosixInput>(std::move(file), static_cast<std::uint64_t>(status.st_size));
    }

    [[nodiscard]] std::unique_ptr<DataFile> create_data(const std::string& path) override {
        PosixFile file = PosixFile::open(path, O_RDWR | O_CREAT | O_TRUNC, 0644);
        return file ? std::make_unique<PosixData>(std::move(file)) : nullptr;
    }

    [[nodiscard]] std::unique_ptr<IndexFile> create_index(const std::string& path) override {
        PosixFile file = PosixFile::open(path, O_RDWR | O_CREAT | O_TRUNC, 0666);
        return file ? std::make_unique<PosixIndex>(std::move(file)) : nullptr;
    }

    [[nodiscard]] std::unique_ptr<LogFile> open_log(const std::string& path) override {
        PosixFile file = PosixFile::open(path, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_NOCTTY, 0666);
        return file && is_regular(path) ? std::make_unique<PosixLog>(std::move(file)) : nullptr;
    }

    bool remove_file(const std::string& path) override {
        return is_regular(path) && uninterrupted([&] { return ::unlink(path.c_str()); }) == 0;
    }

    bool replace_whole(const std::string& path, std::string_view content) override {
        return replace_file(path, content);
    }
};

}  // namespace

FileSystem& system_files() {
    static PosixFileSystem files;
    return files;
}

}  // namespace platform
