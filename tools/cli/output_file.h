#pragma once

// Files that the tools write.

#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/bytes.h"
#include "platform/temporary_file.h"

namespace cli {

/// What an output may replace.
enum class Replace { kNothing, kFiles, kRecordings };

/// kFiles with --force, otherwise kNothing.
[[nodiscard]] constexpr Replace replace_if(bool force) {
    return force ? Replace::kFiles : Replace::kNothing;
}

/// The path of the file that a link leads to, which need not exist; other paths unchanged.
[[nodiscard]] std::string without_links(const std::string& path);

/// Throws CannotRun if the file exists and may not be replaced, or if its name or content is that of a
/// recording and `replace` is not kRecordings. "-" and what is not a regular file, for example a device, are
/// always accepted.
void check_output(const std::string& path, Replace replace);

/// A file that appears at its path when it is complete: it is written next to it and renamed. If it is not
/// completed, or Ctrl-C or SIGTERM ends the program, the temporary file is removed and the path is as it was
/// before. A link at the path is kept, and the file that it leads to is replaced. "-" is standard output; it
/// and what is not a regular file, for example a device or a pipe, are written directly.
///
/// All failures throw CannotRun with the path and the system's reason.
class OutputFile {
  public:
    /// Checks and creates the file.
    OutputFile(std::string path, Replace replace);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    void write(std::span<const platform::Byte> bytes);
    void write(std::string_view text);

    /// Everything that was written can be read at the temporary path.
    void flush();

    /// Flushes the file to the disk, so that complete() takes little time.
    void sync();

    /// Flushes the file to the disk and renames it. Nothing can be written afterwards.
    void complete();

    [[nodiscard]] const std::string& path() const { return path_; }

    /// The path under which a library can open and write the file until complete(), instead of write(). For
    /// output that is written directly, the path itself.
    [[nodiscard]] const std::string& temporary_path() const { return temporary_; }

  private:
    [[noreturn]] void fail() const;

    std::string path_;
    std::string target_;     // the path without links
    std::string temporary_;  // the same as target_ if the file is written directly
    Replace replace_;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
    std::optional<platform::RemovedOnTermination> removal_;
    bool incomplete_ = false;  // the temporary file exists
};

}  // namespace cli
