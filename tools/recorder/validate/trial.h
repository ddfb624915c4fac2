#pragma once

// One case's world: a working directory of its own, the module under trial, a played host, one camera.

#include <cstdint>
#include <filesystem>
#include <string>

#include "tools/recorder/host/host_simulator.h"
#include "tools/recorder/scenarios/serving.h"

namespace recorder::validate {

/// Instants of the stories: far from the present, so that nothing mixes them up with it.
inline constexpr Seconds kLost = 2'051'222'400;
inline constexpr Seconds kFound = kLost + 300;

class Trial {
  public:
    Trial(std::filesystem::path module, std::chrono::seconds patience,
          const std::filesystem::path& directory);

    [[nodiscard]] const std::filesystem::path& module() const { return module_; }
    [[nodiscard]] WorkingDirectory& directory() { return directory_; }
    [[nodiscard]] HostSimulator& simulator() { return simulator_; }
    [[nodiscard]] EngineModel& model() { return simulator_.prediction(); }
    [[nodiscard]] const Camera& camera() const { return camera_; }

    /// Opens the module and announces the camera as connected.
    void open();
    /// Loses the camera, or another one, and finds it again: that makes an operation.
    void lose_and_find() { lose_and_find(camera_, kLost, kFound); }
    void lose_and_find(const Camera& camera, Seconds lost, Seconds found);
    /// The plug-in's first open request.
    [[nodiscard]] Request request();
    /// From open() to where the camera's clips are asked for.
    [[nodiscard]] Request until_clips_are_asked();
    /// The rest of an operation whose clips were asked for, and of the case.
    void finish(const Request& request);

    /// A document that no function of the host makes, whose effect was told to the model before.
    void send(const std::string& text) { simulator_.send_text("odd", text); }
    /// The same around the inside of the camera's Device element.
    void send_inside(const std::string& inside);

  private:
    std::filesystem::path module_;
    WorkingDirectory directory_;
    Conversation conversation_;
    HostSimulator simulator_;
    Camera camera_;
};

/// Ends the case with a finding when something is not as it has to be.
void require(bool condition, const std::string& finding);

}  // namespace recorder::validate
