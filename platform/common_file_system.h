#pragma once

#include "platform/file.h"
#include "platform/text.h"

namespace platform {

/// Writes to a PosixFile or WinFile until everything is written or a call fails.
template <typename File>
[[nodiscard]] bool write_all(const File& file, std::string_view text) {
    while (!text.empty()) {
        const std::int64_t put = file.write(bytes_of(text));
        if (put <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(put));
    }
    return true;
}

/// The operations that are the same on all systems. Only the _posix and _win files include this header.
class CommonFileSystem : public FileSystem {
  public:
    [[nodiscard]] boost::system::error_code make_directory(const std::string& path,
                                                           Existing accepted) override;
    bool rename_file(const std::string& from, const std::string& to) override;
    [[nodiscard]] std::optional<std::string> read_whole(const std::string& path) override;
};

}  // namespace platform
