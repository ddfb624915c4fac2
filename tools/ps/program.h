#pragma once

namespace ps_tool {

inline constexpr const char* kProgram = "norvanepi-ps";

/// Reads the command line and runs what it asks for; the exit status of the program.
[[nodiscard]] int run(int argc, const char* const* argv);

}  // namespace ps_tool
