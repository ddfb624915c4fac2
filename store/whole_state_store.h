#pragma once

#include "plugin/interfaces/persistent_store.h"

namespace norvane {

/// A store of the whole state. The plain lists are a part of it.
class WholeStateStore : public IPersistentStore {
  public:
    void SaveState(std::vector<DisconnectRecord>& records, const std::vector<Operation>& operations) override;
    void LoadState(std::vector<DisconnectRecord>& records, std::vector<Operation>& operations) override;
    void SaveEngineState(EngineState& state) override = 0;
    void LoadEngineState(EngineState& state) override = 0;
};

}  // namespace norvane
