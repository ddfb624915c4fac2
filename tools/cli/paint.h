#pragma once

// What a tool may do where a person is looking.

#include <cstdio>
#include <string>
#include <string_view>

namespace cli {

enum class Colour { kPlain, kFaint, kRed, kGreen, kYellow, kBlue };

/// Colours text for a terminal; returns it as it is for a file or pipe, and where NO_COLOR is set.
class Paint {
  public:
    explicit Paint(std::FILE* stream);
    [[nodiscard]] std::string operator()(Colour colour, std::string_view text) const;

  private:
    bool on_;
};

}  // namespace cli
