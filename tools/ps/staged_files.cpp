#include "tools/ps/staged_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <numeric>
#include <system_error>

#include "platform/temporary_file.h"
#include "tools/cli/exit_status.h"

namespace ps_tool {
namespace {

/// Keeps the first error.
void note_failed_write(const std::string& path, std::string& error) {
    if (!error.empty()) return;
    const std::string reason = errno != 0 ? std::generic_category().message(errno) : "incomplete";
    error = fmt::format("{}: cannot be written: {}", path, reason);
}

class StagedData final : public platform::DataFile {
  public:
    StagedData(std::unique_ptr<platform::DataFile> file, const std::string& path, std::string& error)
        : file_(std::move(file)), path_(path), error_(error) {}

    std::int64_t append(const Parts& parts) override {
        errno = 0;
        const std::int64_t written = file_->append(parts);
        const auto add = [](std::int64_t sum, const auto& part) {
            return sum + static_cast<std::int64_t>(part.size());
        };
        if (written == std::accumulate(parts.begin(), parts.end(), std::int64_t{0}, add)) return written;
        // A full disk takes the first bytes without an error. The next ones show the reason.
        if (written >= 0) (void)file_->append(parts);
        note_failed_write(path_, error_);
        return written;
    }
    std::int64_t position() override { return file_->position(); }

  private:
    std::unique_ptr<platform::DataFile> file_;
    const std::string& path_;
    std::string& error_;
};

class StagedIndex final : public platform::IndexFile {
  public:
    StagedIndex(std::unique_ptr<platform::IndexFile> file, const std::string& path, std::string& error)
        : file_(std::move(file)), path_(path), error_(error) {}

    std::size_t write_at(std::uint64_t position, std::span<const platform::Byte> bytes) override {
        errno = 0;
        const std::size_t written = file_->write_at(position, bytes);
        if (written != bytes.size()) note_failed_write(path_, error_);
        return written;
    }

  private:
    std::unique_ptr<platform::IndexFile> file_;
    const std::string& path_;
    std::string& error_;
};

}  // namespace

/// The data file is created first. A new recording's index appears first, so that no program finds data
/// without an index. A replaced recording never has the index of the other one, even if a kill or a power
/// failure separates the renames: repair could believe it and change the data. Its old index is therefore
/// replaced by an empty one first, and repair builds the right index for whichever data it finds.
void StagedFiles::complete() {
    for (const auto& file : created_) file->sync();
    const bool replaces = std::ranges::any_of(
        created_, [this](const auto& file) { return open_input(file->path()) != nullptr; });
    const platform::DelayedTermination delayed;
    if (replaces) {
        cli::OutputFile(created_.back()->path(), cli::Replace::kRecordings).complete();
    } else {
        std::ranges::reverse(created_);
    }
    for (const auto& file : created_) file->complete();
}

cli::OutputFile* StagedFiles::create(const std::string& path) {
    try {
        created_.push_back(std::make_unique<cli::OutputFile>(path, cli::Replace::kRecordings));
        return created_.back().get();
    } catch (const cli::CannotRun& failure) {
        if (error_.empty()) error_ = failure.what();
        return nullptr;
    }
}

std::unique_ptr<platform::DataFile> StagedFiles::create_data(const std::string& path) {
    const cli::OutputFile* const file = create(path);
    if (file == nullptr) return nullptr;
    auto opened = platform::system_files().create_data(file->temporary_path());
    return opened ? std::make_unique<StagedData>(std::move(opened), file->path(), error_) : nullptr;
}

std::unique_ptr<platform::IndexFile> StagedFiles::create_index(const std::string& path) {
    const cli::OutputFile* const file = create(path);
    if (file == nullptr) return nullptr;
    auto opened = platform::system_files().create_index(file->temporary_path());
    return opened ? std::make_unique<StagedIndex>(std::move(opened), file->path(), error_) : nullptr;
}

boost::system::error_code StagedFiles::make_directory(const std::string& path, Existing accepted) {
    const auto error = platform::system_files().make_directory(path, accepted);
    if (error && error_.empty()) error_ = fmt::format("{}: cannot be created: {}", path, error.message());
    return error;
}

std::unique_ptr<platform::InputFile> StagedFiles::open_input(const std::string& path) {
    return platform::system_files().open_input(path);
}
std::unique_ptr<platform::LogFile> StagedFiles::open_log(const std::string& path) {
    return platform::system_files().open_log(path);
}
bool StagedFiles::rename_file(const std::string& from, const std::string& to) {
    return platform::system_files().rename_file(from, to);
}
bool StagedFiles::remove_file(const std::string& path) {
    return platform::system_files().remove_file(path);
}
std::optional<std::string> StagedFiles::read_whole(const std::string& path) {
    return platform::system_files().read_whole(path);
}
bool StagedFiles::replace_whole(const std::string& path, std::string_view content) {
    return platform::system_files().replace_whole(path, content);
}

}  // namespace ps_tool
