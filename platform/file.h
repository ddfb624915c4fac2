#pragma once

// Files and the file system as interfaces, so that tests can use memory and inject failures. Operations
// report failure by their result; only allocation throws.

#include <array>
#include <boost/system/error_code.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/bytes.h"

namespace platform {

/// A regular file that is read at given positions. The destructor closes it.
class InputFile {
  public:
    InputFile() = default;
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    virtual ~InputFile() = default;

    /// Size in bytes at the time of opening.
    [[nodiscard]] virtual std::uint64_t size() const = 0;

    /// Fills the span. Returns the number of bytes read, which is smaller at the end of the file or after a
    /// failure.
    virtual std::size_t read_at(std::uint64_t position, std::span<Byte> to) = 0;
};

/// A file that is written sequentially. The destructor closes it.
class DataFile {
  public:
    DataFile() = default;
    DataFile(const DataFile&) = delete;
    DataFile& operator=(const DataFile&) = delete;
    virtual ~DataFile() = default;

    /// Parts to append in one call. They may be empty.
    using Parts = std::array<std::span<const Byte>, 3>;

    /// Appends the parts in order, without a retry, and in one system call if the system can. Returns the
    /// number of bytes written, or -1 if the first write failed.
    virtual std::int64_t append(const Parts& parts) = 0;

    /// The offset of the next byte, or -1 on failure.
    virtual std::int64_t position() = 0;
};

/// A file that is written at given positions, without a buffer in the process. The destructor closes it.
class IndexFile {
  public:
    IndexFile() = default;
    IndexFile(const IndexFile&) = delete;
    IndexFile& operator=(const IndexFile&) = delete;
    virtual ~IndexFile() = default;

    /// Writes without a retry. Returns the number of bytes written, 0 on failure.
    virtual std::size_t write_at(std::uint64_t position, std::span<const Byte> bytes) = 0;
};

/// A file that grows at its end. The destructor closes it.
class LogFile {
  public:
    LogFile() = default;
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;
    virtual ~LogFile() = default;

    /// Appends the text and flushes it to the disk. After a failure, the file may end with a part of the
    /// text.
    [[nodiscard]] virtual bool append(std::string_view text) = 0;
};

/// Operations on paths. Paths are narrow text (text.h).
class FileSystem {
  public:
    FileSystem() = default;
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;
    virtual ~FileSystem() = default;

    /// Opens for reading, shared with other readers. Follows links. Null if the file cannot be opened or is
    /// not a regular file. Other files are not even opened, because opening a FIFO can block and opening a
    /// device can have effects.
    [[nodiscard]] virtual std::unique_ptr<InputFile> open_input(const std::string& path) = 0;

    /// Creates or truncates a file; null on failure. New data files get mode 0644, index files 0666, less the
    /// umask.
    [[nodiscard]] virtual std::unique_ptr<DataFile> create_data(const std::string& path) = 0;
    [[nodiscard]] virtual std::unique_ptr<IndexFile> create_index(const std::string& path) = 0;

    /// Opens a regular file for appending, or creates it with mode 0666 less the umask; null on failure.
    [[nodiscard]] virtual std::unique_ptr<LogFile> open_log(const std::string& path) = 0;

    /// Gives a regular file, or a link to one, another name and replaces what has it. False on failure and
    /// for anything else.
    virtual bool rename_file(const std::string& from, const std::string& to) = 0;

    /// Removes a regular file, or a link to one. False on failure and for anything else.
    virtual bool remove_file(const std::string& path) = 0;

    /// Creates the directory and its missing parents, unless the path already exists: as anything with
    /// Existing::kAnything, as a directory with Existing::kDirectory. Returns the error of the status query,
    /// except "not found", or of the creation.
    enum class Existing { kAnything, kDirectory };
    [[nodiscard]] virtual boost::system::error_code make_directory(const std::string& path,
                                                                   Existing accepted) = 0;

    /// Reads a whole regular file. Empty if it cannot be read or is larger than 256 MiB, which limits memory
    /// use if the path is not really the state file.
    [[nodiscard]] virtual std::optional<std::string> read_whole(const std::string& path) = 0;

    /// Replaces the file's content atomically: a crash leaves either the complete old or the complete new
    /// content. False on failure, which keeps the old content. file_replace_posix.cpp describes the steps and
    /// the exceptions, in which the old file is overwritten in place.
    virtual bool replace_whole(const std::string& path, std::string_view content) = 0;
};

/// Why the system's open_input returns null for the path: "Permission denied". Nothing if the file does not
/// exist, or if it can be opened by now.
[[nodiscard]] std::optional<std::string> open_problem(const std::string& path);

/// The system's files. Valid while the module is loaded.
[[nodiscard]] FileSystem& system_files();

}  // namespace platform
