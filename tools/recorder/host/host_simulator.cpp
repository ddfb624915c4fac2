#include "tools/recorder/host/host_simulator.h"

#include <algorithm>
#include <fstream>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "host/documents/names.h"
#include "platform/text.h"
#include "tools/recorder/host/message_summary.h"
#include "tools/recorder/host/module_fault.h"

namespace recorder {
namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPollInterval{20};
constexpr std::chrono::milliseconds kPasses{250};  // two passes of an idle main loop
/// A valid GUID that the module never generates.
constexpr const char* kUnknownGuid = "00000000-0000-4000-8000-000000000000";

}  // namespace

HostSimulator::HostSimulator(Settings settings, WorkingDirectory& directory, Conversation& conversation)
    : settings_(std::move(settings)),
      directory_(directory),
      conversation_(conversation),
      model_(expected_, module_options(settings_.profile)),
      bindings_(present()) {}

void HostSimulator::load(const std::string& load_error) {
    model_.on_open(load_error);
    host_ = std::make_unique<ModuleHost>(settings_.module, settings_.patience, conversation_.counts().sent);
    settle();
    wait_for_passes();
}

void HostSimulator::settle_passes() {
    if (settings_.profile != Profile::kSafe) return;
    settle();
    model_.on_pass();
    settle();
}

void HostSimulator::wait_for_passes() {
    if (settings_.profile != Profile::kSafe) return;
    std::this_thread::sleep_for(kPasses);
    settle_passes();
}

void HostSimulator::open_with_bad_state(const std::string& load_error) {
    const auto before = text_of_file(directory_.state_file());
    load(load_error);
    if (text_of_file(directory_.state_file()) != before) {
        throw ModuleFault("the module overwrote a state file that it could not read");
    }
}

void HostSimulator::open() {
    if (!model_.saved().state_file_exists)
        return open_with_bad_state("error opening or parsing norvanepi.xml");
    load("");
    // The module empties the file, so that a crash does not repeat the operations in it.
    const auto state = text_of_file(directory_.state_file());
    if (!state || *state != "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Pavo/>\n") {
        throw ModuleFault("the module did not empty the state file after reading it");
    }
}

void HostSimulator::close() {
    settle();
    // May still be queued at Close. The module must return it even if it does not read it.
    send_text("farewell", "<Pavo><Farewell/></Pavo>");
    model_.on_close();
    const auto begin = steady_clock::now();
    host_->stop();
    last_close_duration_ = steady_clock::now() - begin;
    settle();
    if (const auto further = host_->take(std::chrono::milliseconds(0))) check(*further);
    host_.reset();
    check_state_file();
    conversation_.note("the module is closed and unloaded");
}

void HostSimulator::check_state_file() {
    const auto text = text_of_file(directory_.state_file());
    if (!text) throw ModuleFault("the module wrote no state file");
    bindings_.instants().clear();
    const std::string expected = model_.state_file();
    if (!matches(expected, *text, bindings_)) {
        throw ModuleFault("the state file: " + difference(expected, *text, bindings_));
    }
    model_.set_open_times(bindings_.instants());
    bindings_.instants().clear();
}

SimulatorState HostSimulator::state() const {
    SimulatorState state{model_.saved(), {}, recordings_, conversation_.counts()};
    for (const Operation& operation : state.model.operations) {
        const std::size_t number = number_of(operation.guid);
        state.guids[number] = bindings_.guid(number);
    }
    return state;
}

void HostSimulator::restore(SimulatorState state) {
    model_.restore(std::move(state.model));
    for (const auto& [operation, guid] : state.guids) bindings_.bind(operation, guid);
    for (const ExpectedRecording& recording : state.recordings) expect_recording(recording);
    conversation_.set_counts(state.counts);
}

void HostSimulator::send(const std::string& kind, const std::string& summary, const std::string& text) {
    // Write and IOCTL feed the same queue. Every third message uses IOCTL.
    const bool by_ioctl = conversation_.counts().sent % 3 == 2;
    const host_kit::LentBuffer lent = host_->lend(text);
    conversation_.sent({.number = lent.number,
                        .entry_point = by_ioctl ? "IOCTL" : "Write",
                        .kind = kind,
                        .summary = summary,
                        .text = text});
    last_sent_ = std::chrono::system_clock::now();
    host_->send(lent, by_ioctl ? ModuleHost::Route::kIoctl : ModuleHost::Route::kWrite);
    expected_.push_back(
        {.message_class = names::kReleaseClass, .pattern = "", .returned_number = lent.number});
    settle_passes();
}

void HostSimulator::announce(const Camera& camera) {
    model_.on_device(camera.device);
    send("device", fmt::format("{} \"{}\" keeps recordings of its own", name_of(camera.device), camera.name),
         device_document(camera.device, camera.address));
}

void HostSimulator::report(const Camera& camera, bool connected, Seconds time) {
    model_.on_channel(camera.device, connected, time);
    send(connected ? "connected" : "lost", fmt::format("{} at {}", name_of(camera.device), utc_text(time)),
         channel_document(camera.device, connected, time));
}

void HostSimulator::report_done_for_unknown(const Camera& camera) {
    constexpr std::size_t kNoOperation = 0;  // numbers start at 1
    model_.on_done(kNoOperation);
    send("done", kUnknownGuid, done_document(camera.device, kUnknownGuid));
}

std::string HostSimulator::guid(const Request& request) {
    std::erase_if(requests(), [&](const Request& other) {
        return other.kind == request.kind && other.operation == request.operation;
    });
    return guid(request.operation);
}

void HostSimulator::offer(const Camera& camera, const Request& request,
                          const std::vector<StoredClip>& clips) {
    const std::string guid = this->guid(request);
    StorageInfo info;
    if (clips.empty()) {
        model_.on_done(request.operation);  // nothing to retrieve, which ends the operation
    } else {
        info = {static_cast<std::int32_t>(clips.size()), megabytes_of(clips), clips.front().start,
                clips.back().stop()};
        model_.on_storage_info(request.operation, info.megabytes);
    }
    send("storage",
         fmt::format("{} holds {} clips, {} MB", name_of(camera.device), info.recordings, info.megabytes),
         storage_info_document(camera.device, guid, info));
}

fs::path HostSimulator::temporary_directory(const Camera& camera, const Request& request) const {
    return directory_.temporary_directory() /
           platform::file_name_of(fmt::format("{} {}", camera.name, request.operation));
}

void HostSimulator::grant(const Camera& camera, const Request& request) {
    const std::string guid = this->guid(request);
    const fs::path directory = temporary_directory(camera, request);
    const bool asks = operation(request).has_value();
    model_.on_reservation(request.operation, directory.string());
    send("reservation", fmt::format("granted to {}", guid),
         reservation_document(guid, directory.string(), directory_.output_directory()));
    settle();
    if (asks && !fs::is_directory(directory)) {
        throw ModuleFault(
            fmt::format("the module requested clips but did not create {}", directory.string()));
    }
}

void HostSimulator::hand_over(const Camera& camera, const Request& request, const std::string& file_name,
                              ClipNotice notice, const PlaceClip& place) {
    settle();
    const fs::path directory = temporary_directory(camera, request);
    fs::create_directories(directory);
    const fs::path file = directory / fmt::format("{} {}", ++clips_placed_, file_name);
    const bool converted = place(file);
    notice.file = file.string();
    notice.input_name = camera.name;
    send("clip", fmt::format("{} from {}", notice.file, utc_text(notice.start)),
         clip_document(camera.device, bindings_.guid(request.operation), notice));
    settle();
    conversion_.reset();
    // The module ignores a clip of an ended operation, so the host removes it.
    if (fs::remove(file) && converted)
        throw ModuleFault(fmt::format("the module did not remove the clip {}", file.string()));
}

void HostSimulator::deliver(const Camera& camera, const Request& request, const StoredClip& stored,
                            std::int32_t type) {
    const std::string name = stored.clip.file.filename().string();
    hand_over(camera, request, name, {.start = stored.start, .stop = stored.stop(), .type = type},
              [&](const fs::path& file) {
                  fs::copy_file(stored.clip.file, file);
                  const bool safe = settings_.profile == Profile::kSafe;
                  const std::uint32_t frames = stored.clip.frames + (safe ? stored.clip.fragment_frames : 0);
                  const bool no_h264 = safe && stored.clip.other_coding;
                  if (frames == 0 || no_h264) {
                      conversation_.note(fmt::format("the module must refuse {}", stored.clip.file.string()));
                      if (!stored.clip.mp4)
                          model_.on_refused_clip(request.operation, file.string());
                      else if (no_h264)
                          model_.on_clip_without_h264(request.operation, file.string());
                      else
                          model_.on_clip_without_samples(request.operation, file.string());
                      return operation(request).has_value() &&
                             !module_options(settings_.profile).keep_failed_clips;
                  }
                  const std::string recording = directory_.recording_path(camera.device, stored.start);
                  model_.on_clip(request.operation, file.string(), recording);
                  if (!operation(request)) return false;
                  conversion_ = {fmt::format("converting {}", file.filename().string()), recording,
                                 stored.clip.bytes, 0};
                  expect_recording({recording, stored.start, frames, !safe});
                  return true;
              });
}

void HostSimulator::deliver_no_mp4(const Camera& camera, const Request& request, Seconds start) {
    hand_over(camera, request, "clip.avi", {.start = start, .stop = start + 1}, [&](const fs::path& file) {
        std::ofstream(file) << "RIFF\x10\x20\x30\x40"
                               "AVI LIST";
        model_.on_refused_clip(request.operation, file.string());
        return operation(request).has_value() && !module_options(settings_.profile).keep_failed_clips;
    });
}

void HostSimulator::deliver_unusual(const Camera& camera, const Request& request, const StoredClip& stored,
                                    const Prediction& predict) {
    const std::string name = stored.clip.file.filename().string();
    hand_over(camera, request, name, {.start = stored.start, .stop = stored.stop()},
              [&](const fs::path& file) {
                  if (fs::exists(stored.clip.file)) fs::copy(stored.clip.file, file);
                  const bool is_removed =
                      predict(file.string(), directory_.recording_path(camera.device, stored.start));
                  return is_removed && fs::is_regular_file(stored.clip.file);
              });
}

void HostSimulator::expect_recording(const ExpectedRecording& recording) {
    // A clip that is downloaded again replaces its recording.
    const auto [known, is_new] = recording_numbers_.emplace(recording.path, recordings_.size());
    if (is_new) {
        recordings_.push_back(recording);
    } else {
        recordings_[known->second] = recording;
    }
}

void HostSimulator::forget_ended_operations() {
    bindings_.forget_all_but([this](std::size_t number) {
        return model_.operation(number) ||
               std::ranges::any_of(model_.requests(),
                                   [&](const Request& request) { return request.operation == number; });
    });
    for (const auto& entry : fs::directory_iterator(directory_.temporary_directory())) {
        if (entry.is_directory() && fs::is_empty(entry)) fs::remove(entry);
    }
}

void HostSimulator::finish(const Camera& camera, const Request& request) {
    const std::string guid = this->guid(request);
    model_.on_done(request.operation);
    send("done", guid, done_document(camera.device, guid));
}

void HostSimulator::fail(const Camera& camera, const Request& request, std::int32_t error,
                         Seconds failed_clip_start) {
    const std::string guid = this->guid(request);
    model_.on_failed(request.operation, error, failed_clip_start);
    send("failed",
         fmt::format("{} with error {} at the clip of {}", guid, error, utc_text(failed_clip_start)),
         failed_document(camera.device, guid, error, failed_clip_start));
    wait_for_passes();
}

void HostSimulator::settle() {
    auto last_progress = steady_clock::now();
    while (!expected_.empty()) {
        const auto message = host_->take(kPollInterval);
        if (message) {
            check(*message);
        } else {
            host_->require_running();
        }
        if (message || watch_conversion()) last_progress = steady_clock::now();
        if (steady_clock::now() - last_progress > settings_.patience) {
            throw ModuleFault(fmt::format("the module sent nothing for {} s; expected {}",
                                          settings_.patience.count(), description_of_next()));
        }
    }
}

bool HostSimulator::watch_conversion() {
    if (!conversion_) return false;
    // A recording is about as large as its clip: padding is added, other tracks are left out.
    std::error_code not_there_yet;
    const auto size = fs::file_size(conversion_->recording, not_there_yet);
    if (not_there_yet || size == conversion_->seen_bytes) return false;
    conversion_->seen_bytes = size;
    conversation_.progress(conversion_->label,
                           static_cast<double>(size) / static_cast<double>(conversion_->clip_bytes));
    return true;
}

void HostSimulator::check(const ReceivedMessage& message) {
    conversation_.received(message);
    if (message.returned_number != 0) previous_return_ = std::exchange(last_return_, message.at);
    if (!message.fault.empty()) throw ModuleFault(message.fault);
    while (!expected_.empty() && expected_.front().any_number && !fits(message, expected_.front())) {
        expected_.pop_front();
    }
    if (expected_.empty() || !fits(message, expected_.front())) {
        throw ModuleFault(difference_from_next(message));
    }
    if (!expected_.front().any_number) expected_.pop_front();
}

bool HostSimulator::fits(const ReceivedMessage& message, const Expected& expected) {
    return message.message_class == expected.message_class &&
           message.returned_number == expected.returned_number &&
           matches(expected.pattern, message.text, bindings_);
}

/// Two documents of a class are compared, and anything else is named.
std::string HostSimulator::difference_from_next(const ReceivedMessage& message) const {
    const bool is_return = message.returned_number != 0;
    if (!is_return && !expected_.empty() && expected_.front().returned_number == 0) {
        const Expected& next = expected_.front();
        const std::string text = difference(next.pattern, message.text, bindings_);
        if (text.empty())
            return fmt::format("a document came with class {}, not {}: {}", message.message_class,
                               next.message_class, shortened(message.text));
        return fmt::format("a document differs from the expected one: {}", text);
    }
    return fmt::format("received {}; expected {}",
                       is_return ? fmt::format("the return of message {}", message.returned_number)
                                 : shortened(message.text),
                       description_of_next());
}

std::string HostSimulator::description_of_next() const {
    if (expected_.empty()) return "nothing";
    const Expected& next = expected_.front();
    if (next.returned_number != 0) return fmt::format("the return of message {}", next.returned_number);
    return fmt::format("{} (class {})", shortened(described(next.pattern, bindings_)), next.message_class);
}

}  // namespace recorder
