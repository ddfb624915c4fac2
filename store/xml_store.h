#pragma once

#include "platform/file.h"
#include "plugin/interfaces/options.h"
#include "plugin/interfaces/persistent_store.h"

namespace norvane {

/// Stores the state in norvanepi_state.xml in the process's working directory. Has no state of its own.
class CXmlStore final : public IPersistentStore {
  public:
    /// The files and the clock are not owned and must outlive the store.
    CXmlStore(platform::FileSystem& files, const platform::Clock& clock, const Options& options = {})
        : files_(files), clock_(clock), channels_(options.channels) {}

    void SaveState(std::vector<DisconnectRecord>& records, const std::vector<Operation>& operations) override;
    void LoadState(std::vector<DisconnectRecord>& records, std::vector<Operation>& operations) override;
    /// SaveState, and whether the file could be written.
    [[nodiscard]] bool save(std::vector<DisconnectRecord>& records, const std::vector<Operation>& operations);
    [[nodiscard]] Ticks CurrentTime() override { return clock_.now(); }

  private:
    platform::FileSystem& files_;
    const platform::Clock& clock_;
    bool channels_;  // channel numbers are saved and loaded
};

}  // namespace norvane
