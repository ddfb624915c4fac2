#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "plugin/interfaces/options.h"

namespace recorder {

inline constexpr const char* kProgram = "norvanepi-recorder";

enum class Scenario {
    kGap,
    kRetry,
    kRestart,
    kRestartSecondHalf,
    kMany,
    kCrash,
    kCrashHost,
    kValidate,
    kOneCase
};

/// What the module does beyond its defaults (docs/profiles.md).
enum class Profile { kDefault, kSafe };

/// The options of the module in a run with the profile.
[[nodiscard]] norvane::Options module_options(Profile profile);

/// As in norvanepi.conf.
[[nodiscard]] inline const char* name_of(Profile profile) {
    return profile == Profile::kSafe ? "safe" : "default";
}

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
    std::uint32_t kills = 20;
    bool calm = false;  // a host of `crash` without random events, until nothing is pending
    std::optional<Profile> profile;
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
inline constexpr const char* kCrashHost = "crash-host";
inline constexpr const char* kOneCase = "validate-one-case";

}  // namespace recorder
