#pragma once

#include <vector>

#include "plugin/interfaces/records.h"

namespace norvane {

/// Everything that the engine would forget with its process.
struct EngineState {
    std::vector<DisconnectRecord> gaps;
    std::vector<Operation> operations;  // in the order of the queue
    std::vector<ChannelKey> connected;

    friend bool operator==(const EngineState&, const EngineState&) = default;
};

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
    virtual ~IPersistentStore() = default;
};

}  // namespace norvane
