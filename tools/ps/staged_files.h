#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/file.h"
#include "tools/cli/output_file.h"

namespace ps_tool {

/// The system's files, but files that are created appear at their paths only when they are complete.
class StagedFiles final : public platform::FileSystem {
  public:
    /// The data file and its index are closed. Renames them to their paths. Throws cli::CannotRun on failure.
    void complete();

    /// What prevented the creation or a write, with the path and the system's reason; empty if nothing did.
    [[nodiscard]] const std::string& error() const { return error_; }

    [[nodiscard]] std::unique_ptr<platform::InputFile> open_input(const std::string& path) override;
    [[nodiscard]] std::unique_ptr<platform::DataFile> create_data(const std::string& path) override;
    [[nodiscard]] std::unique_ptr<platform::IndexFile> create_index(const std::string& path) override;
    [[nodiscard]] std::unique_ptr<platform::LogFile> open_log(const std::string& path) override;
    bool rename_file(const std::string& from, const std::string& to) override;
    bool remove_file(const std::string& path) override;
    [[nodiscard]] boost::system::error_code make_directory(const std::string& path,
                                                           Existing accepted) override;
    [[nodiscard]] std::optional<std::string> read_whole(const std::string& path) override;
    bool replace_whole(const std::string& path, std::string_view content) override;

  private:
    /// Null on failure.
    cli::OutputFile* create(const std::string& path);

    std::vector<std::unique_ptr<cli::OutputFile>> created_;
    std::string error_;
};

}  // namespace ps_tool
