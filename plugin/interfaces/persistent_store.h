#pragma once

#include <vector>

#include "plugin/interfaces/records.h"

namespace norvane {

/// Keeps the engine's lists across restarts. Failures are std::invalid_argument with a fixed text.
class IPersistentStore {
  public:
    IPersistentStore() = default;
    IPersistentStore(const IPersistentStore&) = delete;
    IPersistentStore& operator=(const IPersistentStore&) = delete;

    /// Replaces the saved state. May reorder the records. A file that cannot be written is not a failure.
    virtual void SaveState(std::vector<DisconnectRecord>& records,
                           const std::vector<Operation>& operations) = 0;
    /// Appends the saved entries to both lists. After a failure, the lists keep what was already appended.
    virtual void LoadState(std::vector<DisconnectRecord>& records, std::vector<Operation>& operations) = 0;
    [[nodiscard]] virtual Ticks CurrentTime() = 0;

    /// As SaveState and LoadState, with the failures of operations if the store keeps them. The connected
    /// channels and the stages are not saved.
    virtual void SaveEngineState(EngineState& state) {
        SaveState(state.gaps, {state.operations.begin(), state.operations.end()});
    }
    virtual void LoadEngineState(EngineState& state) {
        std::vector<Operation> operations;
        const auto append = [&] {
            for (const Operation& operation : operations) state.operations.push_back({operation});
        };
        try {
            LoadState(state.gaps, operations);
        } catch (...) {
            append();
            throw;
        }
        append();
    }
    virtual ~IPersistentStore() = default;
};

}  // namespace norvane
