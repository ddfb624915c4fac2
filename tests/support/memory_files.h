#pragma once

// Files in memory with faults on demand: a file cannot be opened or ends early, or the nth call fails.

#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "platform/file.h"

inline constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

/// A file in memory.
class MemoryInput final : public platform::InputFile {
  public:
    explicit MemoryInput(std::string content)
        : MemoryInput(std::make_shared<const std::string>(std::move(content))) {}
    explicit MemoryInput(std::shared_ptr<const std::string> content)
        : content_(std::move(content)), size_(content_->size()) {}
    [[nodiscard]] std::uint64_t size() const override { return size_; }
    std::size_t read_at(std::uint64_t position, std::span<platform::Byte> to) override;

    std::uint64_t ends_at = kNever;    // reads end here although size() is larger
    std::uint64_t throws_at = kNever;  // a read that reaches this byte throws std::bad_alloc

  private:
    std::shared_ptr<const std::string> content_;
    std::uint64_t size_;
};

/// Claims 8 GiB, in which the given texts are at their positions and all other bytes are 0.
class SparseInput final : public platform::InputFile {
  public:
    explicit SparseInput(std::map<std::uint64_t, std::string> texts) : texts_(std::move(texts)) {}
    [[nodiscard]] std::uint64_t size() const override { return std::uint64_t{8} << 30; }
    std::size_t read_at(std::uint64_t position, std::span<platform::Byte> to) override;

  private:
    std::map<std::uint64_t, std::string> texts_;
};

/// The faults of output files. Counts the calls to all of them.
struct OutputFaults {
    std::uint64_t fail_at = kNever;  // the call that fails, counted from 1
    bool partly = false;             // the failing write stores half of its bytes instead of none
    std::uint64_t calls = 0;
    std::string failed = {};           // the call that failed: "data write", "data position" or "index write"
    std::uint64_t data_room = kNever;  // bytes until the disk is full, for all data files together
    int open_files = 0;
};

class MemoryFiles : public platform::FileSystem {
  public:
    void put(const std::string& path, std::string content);
    [[nodiscard]] bool has(const std::string& path) const { return files_.contains(path); }
    /// The content of an existing file. It may be changed while the file is open.
    [[nodiscard]] std::string& at(const std::string& path) const { return *files_.at(path); }

    std::set<std::string> unopenable;
    int failing_removals = 0;  // removals that fail before the first one succeeds
    boost::system::error_code directory_error;
    std::uint64_t input_ends_at = kNever;
    std::uint64_t input_throws_at = kNever;
    OutputFaults output;
    /// Called for each change of the tree: "directory a", "create a/b.ps", "remove c.mp4".
    std::function<void(const std::string&)> note = [](const std::string&) {};

    [[nodiscard]] std::unique_ptr<platform::InputFile> open_input(const std::string& path) override;
    [[nodiscard]] std::unique_ptr<platform::DataFile> create_data(const std::string& path) override;
    [[nodiscard]] std::unique_ptr<platform::IndexFile> create_index(const std::string& path) override;
    [[nodiscard]] std::unique_ptr<platform::LogFile> open_log(const std::string& path) override;
    bool rename_file(const std::string& from, const std::string& to) override;
    bool remove_file(const std::string& path) override;
    [[nodiscard]] boost::system::error_code make_directory(const std::string& path, Existing enough) override;
    [[nodiscard]] std::optional<std::string> read_whole(const std::string& path) override;
    bool replace_whole(const std::string& path, std::string_view content) override;

  private:
    [[nodiscard]] std::shared_ptr<std::string> create(const std::string& path);

    std::map<std::string, std::shared_ptr<std::string>> files_;
    std::set<std::string> directories_{""};
};
