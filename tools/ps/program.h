#pragma once

namespace ps_tool {

inline constexpr const char* kProgram = "norvanepi-ps";

/// Runs the subcommand of the command line and returns the exit status.
[[nodiscard]] int run(int argc, const char* const* argv);

}  // namespace ps_tool
