#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace cli {

/// One line that is drawn over itself. Draws nothing unless the stream is a terminal.
class ProgressBar {
  public:
    explicit ProgressBar(std::FILE* stream);

    /// Fractions outside 0 to 1 are drawn as the nearer end.
    void show(std::string_view label, double fraction);

    /// Takes the bar off the line, so that other text can be printed.
    void clear();

  private:
    std::FILE* stream_;
    bool on_;
    std::string drawn_;
};

}  // namespace cli
