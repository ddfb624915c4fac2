#pragma once

// Files that tools create or change in place. The module does not use them.

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <system_error>

#include "platform/bytes.h"

namespace platform {

/// A file that is written at given positions. The destructor closes it.
class EditedFile {
  public:
    EditedFile() = default;
    EditedFile(const EditedFile&) = delete;
    EditedFile& operator=(const EditedFile&) = delete;
    virtual ~EditedFile() = default;

    /// Writes all bytes, or returns the system's reason.
    [[nodiscard]] virtual std::error_code write_at(std::uint64_t position, std::span<const Byte> bytes) = 0;

    /// Waits until everything that was written is on the disk.
    [[nodiscard]] virtual std::error_code flush() = 0;
};

/// Opens an existing file, or creates one, with mode 0666 less the umask, if nothing exists at the path. Null
/// on failure, with the reason in `error`.
enum class Edit { kExisting, kNew };
[[nodiscard]] std::unique_ptr<EditedFile> open_edited(const std::string& path, Edit kind,
                                                      std::error_code& error);

/// Gives a file the owner, the group and the mode of another one. On Windows, where a new file inherits the
/// access rights of its directory, does nothing.
[[nodiscard]] std::error_code copy_owner_and_mode(const std::string& from, const std::string& to);

}  // namespace platform
