#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace cli {

enum class Colour { kPlain, kFaint, kRed, kGreen, kYellow, kBlue };

/// Colours text on a terminal. Returns it unchanged for a file or pipe, or if NO_COLOR is set.
class TerminalColours {
  public:
    explicit TerminalColours(std::FILE* stream);
    [[nodiscard]] std::string operator()(Colour colour, std::string_view text) const;

  private:
    bool enabled_;
};

}  // namespace cli
