#pragma once

#include <string>
#include <vector>

#include "tools/recorder/host/host_simulator.h"

namespace recorder {

/// What the second process of `restart` needs to continue the scenario.
struct RestartState {
    SimulatorState simulator;
    std::vector<Camera> cameras;
};

[[nodiscard]] std::string restart_state_text(const RestartState& state);

/// Throws cli::CannotRun if the text cannot be parsed.
[[nodiscard]] RestartState restart_state_of(const std::string& text);

}  // namespace recorder
