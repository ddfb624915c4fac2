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
        : files_(files), clock_(clock), channels_(options.channels), failures_(options.retries > 0) {}

    void SaveState(std::vector<DisconnectRecord>& records, const std::vector<Operation>& operations) override;
    void LoadState(std::vector<DisconnectRecord>& records, std::vector<Operation>& operations) override;
    void SaveEngineState(EngineState& state) override;
    void LoadEngineState(EngineState& state) override;
    [[nodiscard]] Ticks CurrentTime() override { return clock_.now(); }

  private:
    template <typename Record>
    void save(std::vector<DisconnectRecord>& records, const std::vector<Record>& operations);
    template <typename Record>
    void load(std::vector<DisconnectRecord>& records, std::vector<Record>& operations);

    platform::FileSystem& files_;
    const platform::Clock& clock_;
    bool channels_;  // channel numbers are saved and loaded
    bool failures_;  // failures are loaded; without the option none are saved either
};

}  // namespace norvane
