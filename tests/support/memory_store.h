#pragma once

#include "plugin/interfaces/persistent_store.h"

/// Saved state in memory.
class MemoryStore : public norvane::IPersistentStore {
  public:
    void SaveState(std::vector<norvane::DisconnectRecord>& new_records,
                   const std::vector<norvane::Operation>& new_operations) override {
        records = new_records;
        operations = new_operations;
    }
    void LoadState(std::vector<norvane::DisconnectRecord>& to_records,
                   std::vector<norvane::Operation>& to_operations) override {
        to_records = records;
        to_operations = operations;
    }
    norvane::Ticks CurrentTime() override { return 0; }

    std::vector<norvane::DisconnectRecord> records;
    std::vector<norvane::Operation> operations;
};
