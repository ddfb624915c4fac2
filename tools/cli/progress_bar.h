#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace cli {

/// A progress bar that redraws its line. Draws nothing unless the stream is a terminal.
class ProgressBar {
  public:
    explicit ProgressBar(std::FILE* stream);

    /// Clamps the fraction to 0..1.
    void show(std::string_view label, double fraction);

    /// Erases the bar, so that other text can be printed.
    void clear();

  private:
    std::FILE* stream_;
    bool on_;
    std::string drawn_;
};

}  // namespace cli
