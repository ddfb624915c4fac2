#pragma once

// What a case needs: a working directory, the module, a simulated host and one camera.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include "tools/recorder/host/host_simulator.h"
#include "tools/recorder/scenarios/steps.h"

namespace recorder::validate {

/// Far from the present, so that the two cannot be confused.
inline constexpr Seconds kLost = 2'051'222'400;
inline constexpr Seconds kFound = kLost + 300;

/// Ends a case that cannot be played here. The text is the reason.
class Skipped : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class CaseFixture {
  public:
    CaseFixture(std::filesystem::path module, std::chrono::seconds patience,
                const std::filesystem::path& directory, Profile profile);

    [[nodiscard]] const std::filesystem::path& module() const { return module_; }
    [[nodiscard]] norvane::Options options() const { return module_options(simulator_.profile()); }
    /// Ends a case about what only the default profile does.
    void require_default() const;
    [[nodiscard]] std::chrono::seconds patience() const { return patience_; }
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
    /// Throws ModuleFault for a file in the case's folder that the module should not have written.
    void require_only_known_files() const;

    /// A document for which HostSimulator has no function. The caller updates the model first.
    void send(const std::string& text) { simulator_.send_text("odd", text); }
    /// The same for a text inside the camera's Device element.
    void send_inside(const std::string& inside);

  private:
    std::filesystem::path module_;
    std::chrono::seconds patience_;
    WorkingDirectory directory_;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> output_;
    Conversation conversation_;
    HostSimulator simulator_;
    Camera camera_;
};

// The files of a case in its folder, besides those of the module.
inline constexpr const char* kConversationFile = "conversation.txt";
inline constexpr const char* kTranscriptFile = "transcript.jsonl";
inline constexpr const char* kPrintedFile =
    "printed.txt";  // standard output, on which the module writes nothing
inline constexpr const char* kFindingFile = "finding.txt";  // standard error
inline constexpr const char* kResultFile = "result.json";   // missing if the process ended before its case
inline constexpr const char* kEndedByModule = "the module ended the process";  // begins such a finding
inline constexpr const char* kHomeFolder = "home";                             // for HOME and temporary files

/// Ends the case with a finding if the condition is false.
void require(bool condition, const std::string& finding);

}  // namespace recorder::validate
