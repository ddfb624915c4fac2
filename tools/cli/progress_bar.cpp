#include "tools/cli/progress_bar.h"

#include <algorithm>
#include <cmath>

#include <fmt/core.h>

#include "tools/cli/terminal_colours.h"

namespace cli {
namespace {

constexpr double kWidth = 32;

}  // namespace

ProgressBar::ProgressBar(std::FILE* stream) : stream_(stream), on_(is_capable_terminal(stream)) {}

void ProgressBar::show(std::string_view label, double fraction) {
    if (!on_) return;
    const double part = std::clamp(fraction, 0.0, 1.0);
    const auto filled = static_cast<std::size_t>(std::floor(part * kWidth));
    const std::string line = fmt::format("{} [{:<{}}] {:3.0f} %", label, std::string(filled, '#'),
                                         static_cast<int>(kWidth), std::floor(part * 100));
    if (line == drawn_) return;
    fmt::print(stream_, "\r{}\x1b[K", line);
    (void)std::fflush(stream_);
    drawn_ = line;
}

void ProgressBar::clear() {
    if (drawn_.empty()) return;
    fmt::print(stream_, "\r\x1b[K");
    drawn_.clear();
}

}  // namespace cli
