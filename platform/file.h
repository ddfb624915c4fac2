#pragma once

// Files as interfaces, so that formats can be tested in memory and faults can be injected. Every operation
// reports failure by its result; nothing here throws but an allocation.

#include <boost/system/error_code.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/bytes.h"

namespace platform {

/// A regular file that is read at positions. Closed by its destructor.
class InputFile {
  public:
    InputFile() = default;
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    virtual ~InputFile() = default;

    /// Length in bytes when the file was opened.
    [[nodiscard]] virtual std::uint64_t size() const = 0;

    /// Reads up to the end of the span; fewer bytes only at the end of the file or after a failure.
    virtual std::size_t read_at(std::uint64_t position, std::span<Byte> to) = 0;
};

/// An unbuffered file that is written front to back. Closed by its destructor.
class DataFile {
  public:
    DataFile() = default;
    DataFile(const DataFile&) = delete;
    DataFile& operator=(const DataFile&) = delete;
    virtual ~DataFile() = default;

    /// Writes at the current position with one attempt: the count of bytes that the system took, or -1.
    virtual std::int64_t write(std::span<const Byte> bytes) = 0;

    /// The current position, or the one after moving to the end of the file; -1 on failure.
    virtual std::int64_t position() = 0;
    virtual std::int64_t seek_end() = 0;
};

/// A stream with one position for reading and writing. Closed by its destructor.
class BufferedFile {
  public:
    BufferedFile() = default;
    BufferedFile(const BufferedFile&) = delete;
    BufferedFile& operator=(const BufferedFile&) = delete;
    virtual ~BufferedFile() = default;

    /// Both advance the position by the count of bytes that they return, short after a failure or at the end.
    virtual std::size_t read(std::span<Byte> to) = 0;
    virtual std::size_t write(std::span<const Byte> bytes) = 0;

    virtual bool seek(std::uint64_t position) = 0;
    [[nodiscard]] virtual std::int64_t position() = 0;

    /// Hands everything written so far to the system.
    virtual bool flush() = 0;
};

/// The operations on paths that the module needs. Paths are narrow text.
class FileSystem {
  public:
    FileSystem() = default;
    FileSystem(const FileSystem&) = delete;
    FileSystem& operator=(const FileSystem&) = delete;
    virtual ~FileSystem() = default;

    /// Opens for reading, shared with other readers. Null when the file cannot be opened or is, behind links,
    /// no regular file: such a thing is not even opened, since that alone can block or act on a device.
    [[nodiscard]] virtual std::unique_ptr<InputFile> open_input(const std::string& path) = 0;

    /// Creates or truncates; null on failure. Data files get permission bits 0644, index files 0666, less
    /// umask.
    [[nodiscard]] virtual std::unique_ptr<DataFile> create_data(const std::string& path) = 0;
    [[nodiscard]] virtual std::unique_ptr<BufferedFile> create_buffered(const std::string& path) = 0;

    /// Removes a file; false on failure and for anything that is, behind links, no regular file.
    virtual bool remove_file(const std::string& path) = 0;

    /// Makes the directory with all missing parents unless something stands there already: anything at all
    /// with Existing::kAnything, a directory with Existing::kDirectory. The error is that of the status query
    /// (other than "not found") or of the creation.
    enum class Existing { kAnything, kDirectory };
    [[nodiscard]] virtual boost::system::error_code make_directory(const std::string& path,
                                                                   Existing enough) = 0;

    /// The whole regular file at the path, nothing when it cannot be read.
    [[nodiscard]] virtual std::optional<std::string> read_whole(const std::string& path) = 0;

    /// Replaces the file at the path, so that at every moment either the old content or the new one stands
    /// there whole. False when the old content was kept. See file_replace_posix.cpp for the exact steps.
    virtual bool replace_whole(const std::string& path, std::string_view content) = 0;
};

/// The system's files; lives as long as the library is loaded.
[[nodiscard]] FileSystem& system_files();

}  // namespace platform
