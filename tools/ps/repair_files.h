#pragma once

// Writes the files of a repair. Failures throw cli::CannotRun with the path and the system's reason. Links
// are kept: the files that they lead to are changed, and backups are next to those.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/edited_file.h"
#include "platform/temporary_file.h"
#include "tools/cli/exit_status.h"
#include "tools/reader/recording.h"
#include "tools/reader/verify.h"

namespace ps_tool {

/// A file cannot be written because the disk is full.
class DiskFull : public cli::CannotRun {
  public:
    using CannotRun::CannotRun;
};

/// A file that is written and flushed before its creator goes on.
class WrittenFile {
  public:
    WrittenFile(std::string path, platform::Edit kind);

    void write_at(std::uint64_t position, std::span<const platform::Byte> bytes);
    void resize(std::uint64_t size);
    void flush();
    [[nodiscard]] const std::string& path() const { return path_; }

  private:
    std::string path_;
    std::unique_ptr<platform::EditedFile> file_;
};

/// The new content of a file: PATH.new, which is removed unless commit() gives it the path.
class NewContent {
  public:
    explicit NewContent(const std::string& path);
    /// Under another name, which does not exist.
    NewContent(const std::string& path, std::string new_path);
    NewContent(const NewContent&) = delete;
    NewContent& operator=(const NewContent&) = delete;
    ~NewContent();

    [[nodiscard]] WrittenFile& file() { return *file_; }
    [[nodiscard]] std::string new_path() const { return new_path_; }

    /// Flushes and closes the new file, and gives it the owner and the mode of `model`, if that exists.
    void finish(const std::string& model);

    /// Renames the new file over the old one.
    void commit();

  private:
    std::string path_;
    std::string new_path_;
    std::optional<platform::RemovedOnTermination> removal_;
    std::unique_ptr<WrittenFile> file_;
};

/// Copies bytes [begin, end) of the recording's data file to a position of a file.
void copy_data(reader::Recording& recording, std::uint64_t begin, std::uint64_t end, WrittenFile& to,
               std::uint64_t position);

/// The path, or the path with the first number that is free: PATH, PATH.1, PATH.2.
[[nodiscard]] std::string unused_path(const std::string& path);

/// Keeps the file at a path under an unused name that begins with PATH.bak, and returns that name. Empty if
/// there is no such file. The file also stays at its path, except on file systems without hard links.
[[nodiscard]] std::string keep_backup(const std::string& link);

/// Saves what the corrections replace as lines "offset: bytes" in hexadecimal, which `xxd -r` writes back.
/// Returns the name of the file.
[[nodiscard]] std::string save_fields(reader::Recording& recording, const reader::Report& report);

/// Saves the end of the data file, from `begin` on. Returns the name of the file.
[[nodiscard]] std::string save_tail(reader::Recording& recording, std::uint64_t begin);

/// Throws if the error is one: "PATH: cannot be written: REASON". DiskFull if that is the reason.
void require_written(const std::error_code& error, const std::string& path);

}  // namespace ps_tool
