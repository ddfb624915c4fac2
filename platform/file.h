#pragma once

// Files as interfaces, so that formats can be tested in memory and faults can be injected. Every operation
// reports failure by its result; nothing here throws but an allocation.

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

/// A file that is written front to back. Closed by its destructor.
class DataFile {
  public:
    DataFile() = default;
    DataFile(const DataFile&) = delete;
    DataFile& operator=(const DataFile&) = delete;
    virtual ~DataFile() = default;

    /// What is appended at once; parts may be empty.
    using Parts = std::array<std::span<const Byte>, 3>;

    /// Appends the parts one behind the other with one attempt, where the system can in one call: the count
    /// of bytes that it took, or -1 for none.
    virtual std::int64_t append(const Parts& parts) = 0;

    /// Where the next byte goes; -1 on failure.
    virtual std::int64_t position() = 0;
};

/// A file of records that are written where they belong. Nothing is held back: what was taken is with the
/// system. Closed by its destructor.
class IndexFile {
  public:
    IndexFile() = default;
    IndexFile(const IndexFile&) = delete;
    IndexFile& operator=(const IndexFile&) = delete;
    virtual ~IndexFile() = default;

    /// Writes with one attempt: the count of bytes that the system took.
    virtual std::size_t write_at(std::uint64_t position, std::span<const Byte> bytes) = 0;
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
    [[nodiscard]] virtual std::unique_ptr<IndexFile> create_index(const std::string& path) = 0;

    /// Removes a file; false on failure and for anything that is, behind links, no regular file.
    virtual bool remove_file(const std::string& path) = 0;

    /// Makes the directory with all missing parents unless something stands there already: anything at all
    /// with Existing::kAnything, a directory with Existing::kDirectory. The error is that of the status query
    /// (other than "not found") or of the creation.
    enum class Existing { kAnything, kDirectory };
    [[nodiscard]] virtual boost::system::error_code make_directory(const std::string& path,
                                                                   Existing enough) = 0;

    /// The whole regular file at the path, nothing when it cannot be read or has more than 256 MiB: memory
    /// is not filled from a file that somebody left here in the state file's stead.
    [[nodiscard]] virtual std::optional<std::string> read_whole(const std::string& path) = 0;

    /// Replaces the file at the path, so that at every moment either the old content or the new one stands
    /// there whole. False when the old content was kept. See file_replace_posix.cpp for the exact steps.
    virtual bool replace_whole(const std::string& path, std::string_view content) = 0;
};

/// The system's files; lives as long as the library is loaded.
[[nodiscard]] FileSystem& system_files();

}  // namespace platform
