#pragma once

#include <string>
#include <vector>

namespace bench {

/// Runs a program to its end and gives the processor seconds, user and system, that all of it took. Its
/// output goes to the file when there is one. Throws WrongResult unless it exits with 0.
double run_program(const std::vector<std::string>& words, const std::string& output_file = {});

/// Runs this program again, in a fresh process, and gives the number that it prints.
[[nodiscard]] double run_self(const std::vector<std::string>& options);

/// The memory of this process, in bytes, and the most that it had since the last reset.
[[nodiscard]] double resident_bytes();
[[nodiscard]] double peak_resident_bytes();
void reset_peak();

}  // namespace bench
