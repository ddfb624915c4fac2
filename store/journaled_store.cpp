#include "store/journaled_store.h"

#include <utility>

namespace norvane {
namespace {

/// With the 100 ms of a pass, a change is on the disk within a second.
constexpr Ticks kChangeInterval = platform::kTicksPerSecond * 8 / 10;
/// Less than 10 s with the time of a pass.
constexpr Ticks kAliveInterval = platform::kTicksPerSecond * 98 / 10;

}  // namespace

void JournaledStore::LoadState(std::vector<DisconnectRecord>& records, std::vector<Operation>& operations) {
    if (const auto recovered = journal_.read()) {
        const EngineState& state = recovered->state;
        records.insert(records.end(), state.gaps.begin(), state.gaps.end());
        for (const ChannelKey& channel : state.connected) {
            records.push_back({recovered->alive - kGapMargin, channel});
        }
        operations.insert(operations.end(), state.operations.begin(), state.operations.end());
    } else {
        state_file_.LoadState(records, operations);
    }
    loaded_ = {.gaps = records, .operations = operations, .connected = {}};
    emptying_ = true;
}

void JournaledStore::SaveState(std::vector<DisconnectRecord>& records,
                               const std::vector<Operation>& operations) {
    if (std::exchange(emptying_, false)) {
        update(std::exchange(loaded_, {}));
        state_file_.SaveState(records, operations);
    } else if (state_file_.save(records, operations)) {
        journal_.remove();
    }
}

void JournaledStore::keep(bool changed, const std::function<EngineState()>& state) {
    changed_ = changed_ || changed;
    const Ticks now = clock_.now();
    const Ticks age = now - updated_;  // negative after the clock was set back
    if (age >= 0 && age < (changed_ ? kChangeInterval : kAliveInterval)) return;
    updated_ = now;  // also if there is no memory for the state: not to be tried in each pass
    update(state());
}

void JournaledStore::update(EngineState state) {
    updated_ = clock_.now();
    changed_ = false;
    journal_.update(std::move(state), updated_);
}

}  // namespace norvane
