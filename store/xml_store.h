#pragma once

#include "platform/file.h"
#include "plugin/interfaces/options.h"
#include "store/state_elements.h"
#include "store/whole_state_store.h"

namespace norvane {

/// Stores the state in norvanepi_state.xml in the process's working directory. Has no state of its own.
class CXmlStore final : public WholeStateStore {
  public:
    /// The files and the clock are not owned and must outlive the store.
    CXmlStore(platform::FileSystem& files, const platform::Clock& clock, const Options& options = {})
        : files_(files), clock_(clock), channels_(options.channels), failures_(options.retries > 0) {}

    /// Ignores a failure: a state that cannot be saved must not stop the host's shutdown.
    void SaveEngineState(EngineState& state) override { (void)save(state); }
    void LoadEngineState(EngineState& state) override { (void)load(state, state::BadRecord::kEndsLoad); }
    /// SaveEngineState, and whether the file could be written.
    [[nodiscard]] bool save(EngineState& state);
    /// LoadEngineState with the given treatment of bad records. Returns the number of skipped elements.
    [[nodiscard]] std::size_t load(EngineState& state, state::BadRecord bad);
    [[nodiscard]] Ticks CurrentTime() override { return clock_.now(); }

  private:
    platform::FileSystem& files_;
    const platform::Clock& clock_;
    bool channels_;  // channel numbers are saved and loaded
    bool failures_;  // failures are loaded; without the option none are saved either
};

}  // namespace norvane
