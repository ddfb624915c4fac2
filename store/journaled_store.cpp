#include "store/journaled_store.h"

#include <stdexcept>
#include <string>
#include <utility>

#include "store/state_names.h"
#include "store/unreadable_file.h"

namespace norvane {
namespace {

/// With the 100 ms of a pass, a change is on the disk within a second.
constexpr Ticks kChangeInterval = platform::kTicksPerSecond * 8 / 10;
/// Less than 10 s with the time of a pass.
constexpr Ticks kAliveInterval = platform::kTicksPerSecond * 98 / 10;

}  // namespace

void JournaledStore::LoadEngineState(EngineState& state) {
    if (auto recovered = journal_.read()) {
        state = std::move(recovered->state);
        for (const ChannelKey& channel : std::exchange(state.connected, {})) {
            state.gaps.push_back({recovered->alive - kGapMargin, channel});
        }
    } else {
        load_state_file(state);
    }
    loaded_ = state;
    emptying_ = true;
}

/// An error would lose everything that follows a bad record, and a loss without a time is such a record.
void JournaledStore::load_state_file(EngineState& state) {
    std::size_t skipped = 0;
    try {
        skipped = state_file_.load(state, state::BadRecord::kIsSkipped);
    } catch (const std::invalid_argument&) {  // missing, or unreadable as a whole
        keep_unreadable(files_, state::kFileName, log_);
        throw;
    }
    if (skipped == 0) return;
    log_(kLogError, std::string("NorVane - '") + state::kFileName + "' has unreadable elements (" +
                        std::to_string(skipped) + "); the others are used.");
}

void JournaledStore::SaveEngineState(EngineState& state) {
    if (std::exchange(emptying_, false)) {
        // Without a journal, the state file is all that a kill would leave.
        if (update(std::exchange(loaded_, {}))) state_file_.SaveEngineState(state);
    } else if (state_file_.save(state)) {
        journal_.remove();
    }
}

void JournaledStore::keep(bool changed, const std::function<EngineState()>& state) {
    changed_ = changed_ || changed;
    const Ticks now = clock_.steady();
    if (updated_ && now - *updated_ < (changed_ ? kChangeInterval : kAliveInterval)) return;
    updated_ = now;  // also without memory for the state: not to be tried in each pass
    (void)update(state());
}

bool JournaledStore::update(EngineState state) {
    updated_ = clock_.steady();
    changed_ = false;
    return journal_.update(std::move(state), clock_.now());
}

}  // namespace norvane
