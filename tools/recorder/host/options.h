#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace recorder {

inline constexpr const char* kProgram = "norvanepi-recorder";

enum class Scenario { kGap, kRetry, kRestart, kRestartSecondHalf, kMany, kValidate, kOneCase };

/// The command line. All paths are absolute, because the working directory changes later.
struct Options {
    Scenario scenario = Scenario::kGap;
    std::vector<std::filesystem::path> clips;
    std::optional<std::filesystem::path> directory;
    std::filesystem::path module;
    std::optional<std::filesystem::path> transcript;
    bool json = false;
    bool verbose = false;
    std::uint32_t patience = 120;  // seconds
    std::uint32_t cameras = 8;
    std::uint32_t gaps = 3;
    std::uint64_t seed = 1;
    std::uint64_t operations = 0;  // limits of a soak run; 0: none
    std::uint32_t minutes = 0;
    bool quiet = false;
    std::vector<std::string> filters;  // words in the names of the cases to run
    bool list = false;
    std::optional<std::filesystem::path> junit;
    unsigned jobs = 1;
};

/// Nothing if the command line only asked for help or the version. Throws cli::CannotRun for wrong usage.
[[nodiscard]] std::optional<Options> read_command_line(int argc, const char* const* argv);

/// Throws cli::CannotRun if the module cannot be loaded.
void require_loadable(const std::filesystem::path& module);

/// Subcommands that the program passes to its own child processes.
inline constexpr const char* kSecondHalf = "restart-second-half";
inline constexpr const char* kOneCase = "validate-one-case";

}  // namespace recorder
