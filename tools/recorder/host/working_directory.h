#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "tools/recorder/host/options.h"
#include "tools/recorder/model/camera.h"

namespace recorder {

/// The directory of the simulated host. It becomes the current directory of the process, because the module
/// keeps its state file there.
class WorkingDirectory {
  public:
    /// Creates and enters the given directory or a new temporary one. Throws cli::CannotRun if it cannot be
    /// used, or if it contains a state file or temporary clips but no marker file of a recorder.
    explicit WorkingDirectory(const std::optional<std::filesystem::path>& wanted);

    /// Removes the module's options and memory and the temporary clips of an earlier run.
    void clear();

    /// Writes the module's configuration file, with module_options(profile). The default profile has none.
    void set_profile(Profile profile) const;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::filesystem::path state_file() const { return path_ / "norvanepi_state.xml"; }

    [[nodiscard]] std::filesystem::path options_file() const { return path_ / "norvanepi.conf"; }

    /// Ends with a separator, because the module appends file names directly.
    [[nodiscard]] std::string output_directory() const;
    [[nodiscard]] std::filesystem::path temporary_directory() const { return path_ / "tmp"; }

    /// The path that the module must choose for the recording of a clip with this start.
    [[nodiscard]] std::string recording_path(const Device& device, Seconds start) const;

    /// Marks a directory whose state file and temporary clips the recorder may remove.
    [[nodiscard]] std::filesystem::path marker() const { return path_ / ".norvanepi-recorder"; }

  private:
    void claim();

    std::filesystem::path path_;
};

/// The content of a file; nothing if it cannot be read.
[[nodiscard]] std::optional<std::string> text_of_file(const std::filesystem::path& file);

}  // namespace recorder
