#pragma once

#include <functional>
#include <optional>

#include "store/journal.h"
#include "store/xml_store.h"

namespace norvane {

/// The state file, and a journal beside it from the load until the state is saved at the end. If the journal
/// exists at a load, the last process did not end in order: the journal then replaces the state file, and
/// every channel that was connected counts as lost from the time at which that process was last alive.
class JournaledStore final : public WholeStateStore {
  public:
    /// The files and the clock are not owned and must outlive the store.
    JournaledStore(platform::FileSystem& files, const platform::Clock& clock, const Options& options,
                   Journal::Log log)
        : files_(files),
          state_file_(files, clock, options),
          journal_(files, log),
          log_(std::move(log)),
          clock_(clock) {}

    /// The save that follows a load empties the state file, once the journal contains what was loaded.
    void SaveEngineState(EngineState& state) override;
    void LoadEngineState(EngineState& state) override;
    [[nodiscard]] Ticks CurrentTime() override { return clock_.now(); }

    /// Updates the journal with the state if it may have changed, at most about once a second, and otherwise
    /// every 10 s. Call it after each message and in each pass of the main loop.
    void keep(bool changed, const std::function<EngineState()>& state);

  private:
    void load_state_file(EngineState& state);
    bool update(EngineState state);

    platform::FileSystem& files_;
    CXmlStore state_file_;
    Journal journal_;
    Journal::Log log_;
    const platform::Clock& clock_;
    EngineState loaded_;
    bool emptying_ = false;         // the next save follows a load
    bool changed_ = false;          // since the last update
    std::optional<Ticks> updated_;  // of Clock::steady
};

}  // namespace norvane
