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

/// What the command line asks for. All paths are absolute: the working directory changes later.
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
    std::uint64_t operations = 0;  // that a long story goes on for; 0 sets no bound
    std::uint32_t minutes = 0;     // likewise
    bool quiet = false;
    std::vector<std::string> filters;  // words in the names of the cases that are wanted
    bool list = false;
    unsigned jobs = 1;
};

/// Nothing if the command line only asked for help or the version. Throws cli::CannotRun for wrong usage.
[[nodiscard]] std::optional<Options> read_command_line(int argc, const char* const* argv);

/// Throws cli::CannotRun if the module cannot be loaded.
void require_loadable(const std::filesystem::path& module);

/// Subcommands that the program passes to its own child processes.
inline constexpr const char* kSecondHalf = "restart-second-half";
inline constexpr const char* kOneCase = "validate-one-case";

/// The arguments with which another process goes on where this one stops.
[[nodiscard]] std::vector<std::string> arguments_of_second_half(const Options& options,
                                                                const std::filesystem::path& directory);

}  // namespace recorder
