#include "tools/recorder/host/working_directory.h"

#include <fstream>
#include <iterator>
#include <random>

#include <fmt/format.h>

#include "platform/calendar.h"
#include "tools/cli/exit_status.h"
#include "tools/recorder/host/options.h"

namespace recorder {
namespace {

namespace fs = std::filesystem;

/// A new directory in the system's directory for temporary files.
fs::path new_directory() {
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
        fs::path path = fs::temp_directory_path() / fmt::format("{}-{:08x}", kProgram, random());
        if (fs::create_directory(path)) return path;
    }
    throw cli::CannotRun("cannot create a temporary directory");
}

void require_writable(const fs::path& directory) {
    const fs::path probe = directory / fmt::format("{}.probe", kProgram);
    const bool written = static_cast<bool>(std::ofstream(probe));
    std::error_code ignored;
    fs::remove(probe, ignored);
    if (!written) throw cli::CannotRun(fmt::format("cannot write into {}", directory.string()));
}

}  // namespace

WorkingDirectory::WorkingDirectory(const std::optional<fs::path>& wanted) {
    try {
        if (wanted) fs::create_directories(*wanted);
        path_ = fs::canonical(wanted ? *wanted : new_directory());
        require_writable(path_);
        claim();
        fs::create_directories(temporary_directory());
        fs::create_directories(output_directory());
        fs::current_path(path_);
    } catch (const fs::filesystem_error& error) {
        throw cli::CannotRun(
            fmt::format("cannot work in {}: {}", error.path1().string(), error.code().message()));
    }
}

void WorkingDirectory::claim() {
    if (fs::exists(marker())) return;
    if (fs::exists(state_file()) || fs::exists(temporary_directory())) {
        throw cli::CannotRun(fmt::format(
            "{}: contains a state file or tmp/ of another program; use another directory with --out",
            path_.string()));
    }
    std::ofstream(marker()) << "Working directory of " << kProgram << ".\n";
}

void WorkingDirectory::clear() {
    for (const fs::path& file : {state_file(), path_ / "norvanepi_journal", options_file()}) fs::remove(file);
    fs::remove_all(temporary_directory());
    fs::create_directories(temporary_directory());
}

void WorkingDirectory::set_profile(Profile profile) const {
    fs::remove(options_file());
    if (profile == Profile::kDefault) return;
    std::ofstream out(options_file());
    out << "profile = safe\nretry-delay = " << module_options(profile).retry_delay << "\n";
    if (!out.flush()) throw cli::CannotRun(fmt::format("cannot write {}", (options_file()).string()));
}

std::string WorkingDirectory::output_directory() const {
    return (path_ / "recordings" / "").string();
}

std::string WorkingDirectory::recording_path(const Device& device, Seconds start) const {
    const auto local = platform::local_time(start);
    if (!local) throw cli::CannotRun(fmt::format("no calendar date for second {}", start));
    return fmt::format("{}{}/{:02}/{:02}/{:02}/{:02}{:02}-{:08X}e.ps", output_directory(), local->year,
                       local->month, local->day, local->hour, local->minute, local->second,
                       clip_id_of(device));
}

std::optional<std::string> text_of_file(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace recorder
