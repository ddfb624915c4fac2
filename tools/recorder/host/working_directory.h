#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "tools/recorder/host/host_documents.h"

namespace recorder {

/// The directory that the played host works in. It is the process's current directory meanwhile, since the
/// plug-in keeps its state file there.
class WorkingDirectory {
  public:
    /// Makes and enters the directory, or a new one for temporary files. Throws cli::CannotRun when it cannot
    /// be used, also when it holds a state file or temporary clips that no recorder left there.
    explicit WorkingDirectory(const std::optional<std::filesystem::path>& wanted);

    /// Removes what an earlier run left of the state file and the temporary clips.
    void clear();

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::filesystem::path state_file() const { return path_ / "norvanepi_state.xml"; }

    /// Ends with a separator: the plug-in appends to it as it stands.
    [[nodiscard]] std::string output_directory() const;
    [[nodiscard]] std::filesystem::path temporary_directory() const { return path_ / "tmp"; }

    /// Where the plug-in puts the recording of a clip that starts at an instant, in local time.
    [[nodiscard]] std::string recording_path(const Device& device, Seconds start) const;

  private:
    /// Stands in every directory that a recorder works in: what it finds there is its own to remove.
    [[nodiscard]] std::filesystem::path mark() const { return path_ / ".norvanepi-recorder"; }
    void claim();

    std::filesystem::path path_;
};

/// The whole text of a file, nothing when it cannot be read.
[[nodiscard]] std::optional<std::string> text_of_file(const std::filesystem::path& file);

}  // namespace recorder
