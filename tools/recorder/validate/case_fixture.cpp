#include "tools/recorder/validate/case_fixture.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "tools/cli/exit_status.h"
#include "tools/recorder/host/module_fault.h"

namespace recorder::validate {
namespace {

/// Not standard output: the module must not write there.
std::FILE* open_output(const std::filesystem::path& file) {
    std::FILE* const stream = std::fopen(file.string().c_str(), "wb");
    if (stream == nullptr) throw cli::CannotRun(file.string() + ": cannot write");
    return stream;
}

bool is_known(const std::filesystem::path& file, const WorkingDirectory& directory) {
    const auto relative = file.lexically_relative(directory.path());
    const std::string first = relative.begin()->string();
    if (first == "recordings") return file.extension() == ".ps" || file.extension() == ".psi";
    const auto known = {kConversationFile, kTranscriptFile, kPrintedFile, kFindingFile, kResultFile, "tmp"};
    return file == directory.state_file() || file == directory.options_file() || file == directory.marker() ||
           std::ranges::find(known, first) != known.end();
}

}  // namespace

CaseFixture::CaseFixture(std::filesystem::path module, std::chrono::seconds patience,
                         const std::filesystem::path& directory, Profile profile)
    : module_(std::move(module)),
      patience_(patience),
      directory_(directory),
      output_(open_output(directory / kConversationFile), std::fclose),
      conversation_({.stream = output_.get(), .verbose = true, .transcript = directory / kTranscriptFile}),
      simulator_({module_, patience / 2, profile}, directory_, conversation_),
      camera_(make_camera(0, "Gate <1> & \"yard\"")) {
    directory_.clear();
    directory_.set_profile(profile);
}

void CaseFixture::require_default() const {
    if (simulator_.profile() != Profile::kDefault) throw Skipped("only about the default profile");
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

void CaseFixture::require_only_known_files() const {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory_.path())) {
        require(entry.is_directory() || is_known(entry.path(), directory_),
                fmt::format("the module left the file {}", entry.path().string()));
    }
}

void CaseFixture::send_inside(const std::string& inside) {
    send(fmt::format(R"(<Pavo><Devices ID="{}"><Device Number="{}">{}</Device></Devices></Pavo>)",
                     camera_.device.devices_id, camera_.device.number, inside));
}

void require(bool condition, const std::string& finding) {
    if (!condition) throw ModuleFault(finding);
}

}  // namespace recorder::validate
