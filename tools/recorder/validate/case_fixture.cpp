#include "tools/recorder/validate/case_fixture.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "tools/recorder/host/module_fault.h"

namespace recorder::validate {
namespace {

Conversation::Options conversation_options(const std::filesystem::path& directory) {
    return {.stream = stdout, .verbose = true, .transcript = directory / "transcript.jsonl"};
}

}  // namespace

CaseFixture::CaseFixture(std::filesystem::path module, std::chrono::seconds patience,
                         const std::filesystem::path& directory)
    : module_(std::move(module)),
      directory_(directory),
      conversation_(conversation_options(directory)),
      simulator_({module_, patience / 2}, directory_, conversation_),
      camera_(make_camera(0, "Gate <1> & \"yard\"")) {
    directory_.clear();
}

void CaseFixture::open() {
    simulator_.open();
    announce_connected(simulator_, camera_, kLost - 60);
}

void CaseFixture::lose_and_regain(const Camera& camera, Seconds lost, Seconds found) {
    simulator_.report(camera, false, lost);
    simulator_.report(camera, true, found);
}

Request CaseFixture::request() {
    simulator_.settle();
    require(!simulator_.requests().empty(), "the module sent no request");
    return simulator_.requests().front();
}

Request CaseFixture::answer_until_clips_requested() {
    if (simulator_.is_open()) return recorder::answer_until_clips_requested(simulator_, camera_);
    open();
    Clip clip = write_small_clip(directory_.temporary_directory() / "camera.mp4", 1);
    clip.seconds = kFound - kLost;  // covers the whole gap, so that every attempt has something to retrieve
    camera_.storage = {{clip, kLost}};
    lose_and_regain();
    return recorder::answer_until_clips_requested(simulator_, camera_);
}

void CaseFixture::end() {
    if (!simulator_.is_open()) return;
    const auto& requests = simulator_.requests();
    const auto requested = std::ranges::find(requests, Request::Kind::kRecordings, &Request::kind);
    if (requested != requests.end()) simulator_.finish(camera_, Request(*requested));
    simulator_.close();
}

void CaseFixture::send_inside(const std::string& inside) {
    send(fmt::format(R"(<Pavo><Devices ID="{}"><Device Number="{}">{}</Device></Devices></Pavo>)",
                     camera_.device.devices_id, camera_.device.number, inside));
}

void require(bool condition, const std::string& finding) {
    if (!condition) throw ModuleFault(finding);
}

}  // namespace recorder::validate
