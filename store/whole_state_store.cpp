#include "store/whole_state_store.h"

#include <stdexcept>

namespace norvane {

void WholeStateStore::SaveState(std::vector<DisconnectRecord>& records,
                                const std::vector<Operation>& operations) {
    EngineState state;
    state.gaps.swap(records);
    state.operations.reserve(operations.size());
    for (const Operation& operation : operations) state.operations.push_back({operation});
    SaveEngineState(state);
    records.swap(state.gaps);
}

void WholeStateStore::LoadState(std::vector<DisconnectRecord>& records, std::vector<Operation>& operations) {
    EngineState state;
    const auto append = [&] {
        records.insert(records.end(), state.gaps.begin(), state.gaps.end());
        operations.insert(operations.end(), state.operations.begin(), state.operations.end());
    };
    try {
        LoadEngineState(state);
    } catch (const std::invalid_argument&) {
        append();
        throw;
    }
    append();
}

}  // namespace norvane
