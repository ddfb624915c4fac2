#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/ps/export/sha256.h"

namespace cli {
class ProgressBar;
}

namespace ps_tool {

/// The lines of a manifest that `sha256sum --check` accepts: digest, two spaces, path.
class Manifest {
  public:
    explicit Manifest(cli::ProgressBar& bar) : bar_(bar) {}

    /// Reads the file at `location`, by default the path, and adds a line with the path. Returns the digest.
    std::string add(const std::string& path);
    std::string add(const std::string& path, const std::string& location);
    [[nodiscard]] const std::string& text() const { return text_; }

  private:
    cli::ProgressBar& bar_;
    Sha256 sha_;
    std::string text_;
};

}  // namespace ps_tool
