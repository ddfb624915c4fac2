#pragma once

// Each scenario opens the module, simulates its events and closes the module.

#include <cstdint>
#include <vector>

#include "tools/recorder/host/host_simulator.h"
#include "tools/recorder/scenarios/soak.h"

namespace recorder {

/// One camera is lost and returns. Its gap is retrieved.
void play_gap(HostSimulator& simulator, const std::vector<Clip>& clips);

/// A retrieval fails at its second clip, is repeated from there, fails again and is dropped.
void play_retry(HostSimulator& simulator, const std::vector<Clip>& clips);

/// What the second process of `restart` needs to continue the scenario.
struct RestartState {
    SimulatorState simulator;
    std::vector<Camera> cameras;
};

[[nodiscard]] std::string restart_state_text(const RestartState& state);

/// Throws cli::CannotRun if the text cannot be parsed.
[[nodiscard]] RestartState restart_state_of(const std::string& text);

/// Closes the module with an open gap, a current operation and a pending one. Another process runs the second
/// half.
[[nodiscard]] RestartState play_until_restart(HostSimulator& simulator, const std::vector<Clip>& clips);
void play_after_restart(HostSimulator& simulator, const RestartState& state);

struct ManySettings {
    std::uint32_t cameras = 0;
    std::uint32_t gaps = 0;  // per camera
    std::uint64_t seed = 0;
};
/// Many cameras with random losses, returns, failures and restarts. Returns the number of restarts. A soak
/// run ends when `soak` has enough, regardless of the number of gaps. It never reports a connected channel
/// twice, because each such report adds an entry in the module until the next restart.
std::uint32_t play_many(HostSimulator& simulator, const std::vector<Clip>& clips,
                        const ManySettings& settings, Soak* soak);

}  // namespace recorder
