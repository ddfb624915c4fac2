#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>

#include "platform/bytes.h"

namespace ps_tool {

/// SHA-256 (FIPS 180-4) by libavutil, which is loaded at run time.
class Sha256 {
  public:
    /// Throws cli::CannotRun if the library is not installed, or not supported on this system.
    Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;
    ~Sha256();

    /// The digest of a whole file as 64 hexadecimal digits. Calls `show` with the fraction that is done.
    /// Throws cli::CannotRun if the file cannot be read.
    [[nodiscard]] std::string of_file(const std::string& path, const std::function<void(double)>& show);

    [[nodiscard]] std::string of_bytes(std::span<const platform::Byte> bytes);

  private:
    using Update = std::function<void(std::span<const platform::Byte> piece)>;
    [[nodiscard]] std::string digest_of(const std::function<void(const Update& update)>& give);

    struct Library;
    std::unique_ptr<Library> library_;
};

}  // namespace ps_tool
