#pragma once

// The stories that can be played. Each opens the plug-in, tells its story and closes the plug-in.

#include <cstdint>
#include <filesystem>
#include <vector>

#include "tools/recorder/host/host_simulator.h"
#include "tools/recorder/scenarios/handover.h"
#include "tools/recorder/scenarios/soak.h"

namespace recorder {

/// One camera is lost and found; its gap is fetched.
void play_gap(HostSimulator& simulator, const std::vector<Clip>& clips);

/// A retrieval fails at its second clip, is fetched again from there, fails again and is dropped.
void play_retry(HostSimulator& simulator, const std::vector<Clip>& clips);

/// Closes with a gap open, an operation under way and one waiting; the second half goes on in another
/// process.
[[nodiscard]] Handover play_until_restart(HostSimulator& simulator, const std::vector<Clip>& clips);
void play_after_restart(HostSimulator& simulator, const Handover& handover);

struct CrowdSettings {
    std::uint32_t cameras = 0;
    std::uint32_t gaps = 0;  // of each camera
    std::uint64_t seed = 0;
};
/// Many cameras with random losses, returns, failures and restarts. Returns the number of restarts. With an
/// soak the story goes on until that has enough, whatever the number of gaps, and tells only what leaves
/// nothing behind: a repeated report of a connected channel adds up in the plug-in until its next restart.
std::uint32_t play_many(HostSimulator& simulator, const std::vector<Clip>& clips,
                        const CrowdSettings& settings, Soak* soak);

}  // namespace recorder
