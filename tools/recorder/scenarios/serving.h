#pragma once

#include <vector>

#include "tools/recorder/host/host_simulator.h"

namespace recorder {

/// Seconds from one event of a story to the next, and from its last one to the present.
inline constexpr Seconds kAgo = 60;

/// A camera of the played host; number counts from 0.
[[nodiscard]] Camera make_camera(std::uint32_t number, const std::string& name);

/// Announces the camera and reports its channel connected.
void introduce(HostSimulator& simulator, const Camera& camera, Seconds time);

/// The instant of a loss so long ago that the clips fit behind it.
[[nodiscard]] Seconds loss_for(const std::vector<Clip>& clips);

/// A new camera that is lost, records the clips, and is found again.
[[nodiscard]] Camera lost_and_found(HostSimulator& simulator, const std::string& name,
                                    const std::vector<Clip>& clips);

/// Gives the request the answer that a camera in good order leads to.
void serve(HostSimulator& simulator, const Camera& camera, Request request);

/// Serves the camera's requests, the only ones there are, up to the one for its clips.
[[nodiscard]] Request until_clips_are_asked(HostSimulator& simulator, const Camera& camera);

/// Serves every request, in order, until the plug-in has no more.
void serve_all(HostSimulator& simulator, const std::vector<Camera>& cameras);

/// Sleeper for what is still to come and closes. Throws ModuleFault where operations are left to do.
void end_story(HostSimulator& simulator);

}  // namespace recorder
