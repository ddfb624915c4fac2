#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/cli/json_list.h"

namespace cli {

/// The inputs that a tool could not use. Each is named on standard error at once. The tool goes on with the
/// others and ends with the status kCannotRun.
class UnusableInputs {
  public:
    explicit UnusableInputs(std::string_view tool) : tool_(tool) {}

    /// The reason is in the system's words if the system refused: "Permission denied".
    void add(const std::string& path, const std::string& reason);

    [[nodiscard]] std::size_t count() const { return inputs_.size(); }
    /// [{"path": ..., "reason": ...}]
    [[nodiscard]] Json json() const;
    /// The exit status of the tool, which is `otherwise` if all inputs were used.
    [[nodiscard]] int status(int otherwise) const;

  private:
    std::string tool_;
    std::vector<std::pair<std::string, std::string>> inputs_;
};

/// Why a file that should be read could not be, in the system's words.
[[nodiscard]] std::string why_unreadable(const std::string& path);

}  // namespace cli
