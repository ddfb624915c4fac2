#pragma once

#include "platform/file.h"
#include "plugin/interfaces/persistent_store.h"

namespace norvane {

/// Keeps the state in the file norvanepi_state.xml of the process's working directory. Holds nothing between
/// calls.
class CXmlStore final : public IPersistentStore {
  public:
    /// Both are not owned and have to outlive the store.
    CXmlStore(platform::FileSystem& files, const platform::Clock& clock) : files_(files), clock_(clock) {}

    void SaveState(std::vector<DisconnectRecord>& records, const std::vector<Operation>& operations) override;
    void LoadState(std::vector<DisconnectRecord>& records, std::vector<Operation>& operations) override;
    [[nodiscard]] Ticks CurrentTime() override { return clock_.now(); }

  private:
    platform::FileSystem& files_;
    const platform::Clock& clock_;
};

}  // namespace norvane
