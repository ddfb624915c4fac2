#pragma once

// What a case needs: a working directory, the module, a simulated host and one camera.

#include <cstdint>
#include <filesystem>
#include <string>

#include "tools/recorder/host/host_simulator.h"
#include "tools/recorder/scenarios/steps.h"

namespace recorder::validate {

/// Far from the present, so that the two cannot be confused.
inline constexpr Seconds kLost = 2'051'222'400;
inline constexpr Seconds kFound = kLost + 300;

class CaseFixture {
  public:
    CaseFixture(std::filesystem::path module, std::chrono::seconds patience,
                const std::filesystem::path& directory);

    [[nodiscard]] const std::filesystem::path& module() const { return module_; }
    [[nodiscard]] WorkingDirectory& directory() { return directory_; }
    [[nodiscard]] HostSimulator& simulator() { return simulator_; }
    [[nodiscard]] EngineModel& model() { return simulator_.model(); }
    [[nodiscard]] const Camera& camera() const { return camera_; }

    /// Opens the module and announces the camera as connected.
    void open();
    /// A loss and return of the camera, or of another one, which creates an operation.
    void lose_and_regain() { lose_and_regain(camera_, kLost, kFound); }
    void lose_and_regain(const Camera& camera, Seconds lost, Seconds found);
    /// The module's first unanswered request.
    [[nodiscard]] Request request();
    /// Up to the request for the camera's clips; from open() on if the module is not open.
    [[nodiscard]] Request answer_until_clips_requested();
    /// Ends every case: finishes an operation whose clips were requested, and closes the module.
    void end();

    /// A document for which HostSimulator has no function. The caller updates the model first.
    void send(const std::string& text) { simulator_.send_text("odd", text); }
    /// The same for a text inside the camera's Device element.
    void send_inside(const std::string& inside);

  private:
    std::filesystem::path module_;
    WorkingDirectory directory_;
    Conversation conversation_;
    HostSimulator simulator_;
    Camera camera_;
};

/// Ends the case with a finding if the condition is false.
void require(bool condition, const std::string& finding);

}  // namespace recorder::validate
