#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace cli {

/// The values are the parameters of ECMA-48, 8.3.117 (SGR).
enum class Colour { kPlain = 0, kFaint = 2, kRed = 31, kGreen = 32, kYellow = 33, kBlue = 34 };

/// True if the stream is a terminal that can colour text and erase lines: not one with TERM=dumb.
[[nodiscard]] bool is_capable_terminal(std::FILE* stream);

/// Colours text on a terminal. Returns it unchanged for a file or pipe, one with TERM=dumb, or if NO_COLOR is
/// set.
class TerminalColours {
  public:
    explicit TerminalColours(std::FILE* stream);
    [[nodiscard]] std::string operator()(Colour colour, std::string_view text) const;

  private:
    bool enabled_;
};

}  // namespace cli
