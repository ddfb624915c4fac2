#pragma once

#include <vector>

#include "tools/recorder/stage.h"

namespace recorder {

/// Seconds since 1970, now.
[[nodiscard]] Seconds present();

/// A camera of the played host; number counts from 0.
[[nodiscard]] Camera make_camera(std::uint32_t number, const std::string& name);

/// Announces the camera and reports its channel connected.
void introduce(Stage& stage, const Camera& camera, Seconds time);

/// Gives the request the answer that a camera in good order leads to.
void serve(Stage& stage, const Camera& camera, Request request);

/// Serves the camera's requests, the only ones there are, up to the one for its clips.
[[nodiscard]] Request until_clips_are_asked(Stage& stage, const Camera& camera);

/// Serves every request, in order, until the plug-in has no more.
void serve_all(Stage& stage, const std::vector<Camera>& cameras);

/// At the end of a story nothing is left to do. Throws PlugInFault.
void require_all_done(const Stage& stage);

}  // namespace recorder
