#pragma once

#include <vector>

#include "plugin/interfaces/records.h"

namespace norvane {

/// How the engine's lists survive a restart. Faults are std::invalid_argument with a fixed text.
class IPersistentStore {
  public:
    IPersistentStore() = default;
    IPersistentStore(const IPersistentStore&) = delete;
    IPersistentStore& operator=(const IPersistentStore&) = delete;

    /// Replaces what is saved. The order of the records may be changed. A file that cannot be written is no
    /// fault.
    virtual void SaveState(std::vector<DisconnectRecord>& records,
                           const std::vector<Operation>& operations) = 0;
    /// Appends what is saved; entries appended before a fault stay appended.
    virtual void LoadState(std::vector<DisconnectRecord>& records, std::vector<Operation>& operations) = 0;
    [[nodiscard]] virtual Ticks CurrentTime() = 0;
    virtual ~IPersistentStore() = default;
};

}  // namespace norvane
