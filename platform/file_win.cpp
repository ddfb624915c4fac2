#include <fcntl.h>
#include <sys/stat.h>
#include <windows.h>

#include <boost/filesystem/operations.hpp>
#include <cstdio>
#include <utility>

#include "platform/common_file_system.h"
#include "platform/file_replace.h"
#include "platform/win_file.h"

namespace platform {
namespace {

class WinInput final : public InputFile {
  public:
    WinInput(WinFile file, std::uint64_t size) : file_(std::move(file)), size_(size) {}

    [[nodiscard]] std::uint64_t size() const override { return size_; }

    std::size_t read_at(std::uint64_t position, std::span<Byte> to) override {
        if (file_.seek(static_cast<std::int64_t>(position), SEEK_SET) < 0) return 0;
        std::size_t done = 0;
        while (done < to.size()) {
            const std::int64_t got = file_.read(to.subspan(done));
            if (got <= 0) break;
            done += static_cast<std::size_t>(got);
        }
        return done;
    }

  private:
    WinFile file_;
    std::uint64_t size_;
};

class WinData final : public DataFile {
  public:
    explicit WinData(WinFile file) : file_(std::move(file)) {}

    /// The runtime cannot write several buffers in one call.
    std::int64_t append(const Parts& parts) override {
        std::int64_t total = 0;
        for (const std::span<const Byte> part : parts) {
            const std::int64_t put = part.empty() ? 0 : file_.write(part);
            if (put > 0) total += put;
            if (put != static_cast<std::int64_t>(part.size())) return total > 0 ? total : -1;
        }
        return total;
    }

    std::int64_t position() override { return file_.seek(0, SEEK_CUR); }

  private:
    WinFile file_;
};

class WinIndex final : public IndexFile {
  public:
    explicit WinIndex(WinFile file) : file_(std::move(file)) {}

    std::size_t write_at(std::uint64_t position, std::span<const Byte> bytes) override {
        if (file_.seek(static_cast<std::int64_t>(position), SEEK_SET) < 0) return 0;
        const std::int64_t put = file_.write(bytes);
        return put < 0 ? 0 : static_cast<std::size_t>(put);
    }

  private:
    WinFile file_;
};

class WinLog final : public LogFile {
  public:
    explicit WinLog(WinFile file) : file_(std::move(file)) {}

    [[nodiscard]] bool append(std::string_view text) override {
        return write_all(file_, text) && file_.flush_to_disk();
    }

  private:
    WinFile file_;
};

class WinFileSystem final : public CommonFileSystem {
  public:
    [[nodiscard]] std::unique_ptr<InputFile> open_input(const std::string& path) override {
        if (!is_regular(path)) return nullptr;
        WinFile file = WinFile::open(path_of(path), _O_RDONLY);
        const std::int64_t size = file && file.is_disk_file() ? file.seek(0, SEEK_END) : -1;
        if (size < 0) return nullptr;
        return std::make_unique<WinInput>(std::move(file), static_cast<std::uint64_t>(size));
    }

    [[nodiscard]] std::unique_ptr<DataFile> create_data(const std::string& path) override {
        WinFile file = create(path);
        return file ? std::make_unique<WinData>(std::move(file)) : nullptr;
    }

    [[nodiscard]] std::unique_ptr<IndexFile> create_index(const std::string& path) override {
        WinFile file = create(path);
        return file ? std::make_unique<WinIndex>(std::move(file)) : nullptr;
    }

    [[nodiscard]] std::unique_ptr<LogFile> open_log(const std::string& path) override {
        WinFile file = WinFile::open(path_of(path), _O_WRONLY | _O_APPEND | _O_CREAT, _S_IREAD | _S_IWRITE);
        return file && file.is_disk_file() ? std::make_unique<WinLog>(std::move(file)) : nullptr;
    }

    bool remove_file(const std::string& path) override {
        return is_regular(path) && ::DeleteFileW(path_of(path).c_str()) != 0;
    }

    bool replace_whole(const std::string& path, std::string_view content) override {
        return replace_file(path, content);
    }

  private:
    static bool is_regular(const std::string& path) {
        boost::system::error_code error;
        return boost::filesystem::is_regular_file(path_of(path), error);
    }

    static WinFile create(const std::string& path) {
        return WinFile::open(path_of(path), _O_RDWR | _O_CREAT | _O_TRUNC, _S_IREAD | _S_IWRITE);
    }
};

}  // namespace

FileSystem& system_files() {
    static WinFileSystem files;
    return files;
}

}  // namespace platform
