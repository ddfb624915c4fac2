#pragma once

#include <string>
#include <vector>

#include "tools/cli/json_list.h"
#include "tools/ps/coverage/coverage.h"

namespace ps_tool {

/// What the recordings of each camera are together: totals, time that two recordings have, and copies. The
/// paths belong to the facts of the same number.
class CameraTotals {
  public:
    void add(const std::string& path, RecordingFacts facts);

    /// Prints a line for each camera, and one for each overlap and copy.
    void print() const;
    [[nodiscard]] cli::Json json() const;

  private:
    [[nodiscard]] std::vector<std::pair<std::string, std::string>> copies_in(
        const CameraCoverage& camera) const;
    [[nodiscard]] const std::string& path_of(const RecordingFacts* one) const;

    std::vector<std::string> paths_;
    std::vector<RecordingFacts> facts_;
};

}  // namespace ps_tool
