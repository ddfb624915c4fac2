#include "tools/recorder/validate/trial.h"

#include <utility>

#include <fmt/format.h>

#include "tools/recorder/host/module_fault.h"

namespace recorder::validate {
namespace {

Conversation::Options conversation_options(const std::filesystem::path& directory) {
    return {.stream = stdout, .verbose = true, .transcript = directory / "transcript.jsonl"};
}

}  // namespace

Trial::Trial(std::filesystem::path module, std::chrono::seconds patience,
             const std::filesystem::path& directory)
    : module_(std::move(module)),
      directory_(directory),
      conversation_(conversation_options(directory)),
      simulator_({module_, patience / 2}, directory_, conversation_),
      camera_(make_camera(0, "Gate <1> & \"yard\"")) {
    directory_.clear();
}

void Trial::open() {
    simulator_.open();
    introduce(simulator_, camera_, kLost - 60);
}

void Trial::lose_and_find(const Camera& camera, Seconds lost, Seconds found) {
    simulator_.report(camera, false, lost);
    simulator_.report(camera, true, found);
}

Request Trial::request() {
    simulator_.settle();
    require(!simulator_.requests().empty(), "the plug-in asks for nothing");
    return simulator_.requests().front();
}

Request Trial::until_clips_are_asked() {
    open();
    Clip clip = write_small_clip(directory_.temporary_directory() / "camera.mp4", 1);
    clip.seconds = kFound - kLost;  // as the camera has it: there is something to fetch at every try
    camera_.storage = {{clip, kLost}};
    lose_and_find();
    return recorder::until_clips_are_asked(simulator_, camera_);
}

void Trial::finish(const Request& request) {
    simulator_.finish(camera_, request);
    end_story(simulator_);
}

void Trial::send_inside(const std::string& inside) {
    send(fmt::format(R"(<Pavo><Devices ID="{}"><Device Number="{}">{}</Device></Devices></Pavo>)",
                     camera_.device.identifier, camera_.device.number, inside));
}

void require(bool condition, const std::string& finding) {
    if (!condition) throw ModuleFault(finding);
}

}  // namespace recorder::validate
