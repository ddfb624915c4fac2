#pragma once

// Steps that several scenarios share.

#include <string>
#include <vector>

#include "tools/recorder/host/host_simulator.h"

namespace recorder {

/// Seconds between two events of a scenario, and between its last event and the present.
inline constexpr Seconds kStep = 60;

/// A simulated camera; numbers start at 0.
[[nodiscard]] Camera make_camera(std::uint32_t number, const std::string& name);

/// Announces the camera and reports its channel connected.
void announce_connected(HostSimulator& simulator, const Camera& camera, Seconds time);

/// The time of a loss early enough for a gap that contains the clips.
[[nodiscard]] Seconds loss_time_for(const std::vector<Clip>& clips);

/// A new camera that is lost, records the clips, and returns.
[[nodiscard]] Camera regained_camera(HostSimulator& simulator, const std::string& name,
                                     const std::vector<Clip>& clips);

/// Answers the request as a camera without problems does.
void answer(HostSimulator& simulator, const Camera& camera, Request request);

/// Answers the camera's requests up to the one for its clips, which is returned. No other camera has
/// requests.
[[nodiscard]] Request answer_until_clips_requested(HostSimulator& simulator, const Camera& camera);

/// Answers requests in order until the module has none.
void answer_all(HostSimulator& simulator, const std::vector<Camera>& cameras);

/// Waits for the expected messages and closes the module. Throws ModuleFault if an operation is pending.
void finish_scenario(HostSimulator& simulator);

}  // namespace recorder
