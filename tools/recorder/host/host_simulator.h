#pragma once

#include <chrono>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/recorder/host/conversation.h"
#include "tools/recorder/host/module_host.h"
#include "tools/recorder/host/options.h"
#include "tools/recorder/host/working_directory.h"
#include "tools/recorder/model/camera.h"
#include "tools/recorder/model/engine_model.h"

namespace recorder {

/// A recording that the module must write, and its expected content.
struct ExpectedRecording {
    std::string path;
    Seconds start = 0;
    std::uint32_t frames = 0;
    bool exact_start = true;  // false: the first picture may be shown up to a second later
};

/// What the simulator in the next process needs to continue.
struct SimulatorState {
    SavedModel model;
    std::map<std::size_t, std::string> guids;  // of the pending operations
    std::vector<ExpectedRecording> recordings;
    MessageCounts counts;
};

/// Sends events to the module, answers its requests, and compares each of its messages with the model's
/// prediction. A difference is thrown as ModuleFault.
class HostSimulator {
  public:
    struct Settings {
        std::filesystem::path module;
        std::chrono::seconds patience{};  // limit without progress of the module
        Profile profile = Profile::kDefault;
    };
    HostSimulator(Settings settings, WorkingDirectory& directory, Conversation& conversation);

    [[nodiscard]] Profile profile() const { return settings_.profile; }

    /// Loads and opens the module, which must empty the state file.
    void open();
    /// Opens it with a state file that cannot be read. The module must log the error and leave the file
    /// unchanged.
    void open_with_bad_state(const std::string& load_error);
    [[nodiscard]] bool is_open() const { return host_ != nullptr; }
    /// Closes and unloads the module and checks the state file that it wrote.
    void close();

    /// Events. These functions do not wait. The next settle() checks the module's messages.
    void announce(const Camera& camera);
    void report(const Camera& camera, bool connected, Seconds time);
    void send_text(const std::string& kind, const std::string& text) { send(kind, text, text); }
    /// An answer with the GUID of no operation.
    void report_done_for_unknown(const Camera& camera);

    /// The module's unanswered requests. An answer removes its request from the list.
    [[nodiscard]] std::vector<Request>& requests() { return model_.requests(); }
    /// Empty if the operation has ended.
    [[nodiscard]] std::optional<Operation> operation(const Request& request) const {
        return model_.operation(request.operation);
    }

    /// The camera's clips of the operation's interval; none if the operation has ended.
    [[nodiscard]] std::vector<StoredClip> clips_for(const Camera& camera, const Request& request) const {
        const auto asked = operation(request);
        return asked ? camera.clips_in(seconds(asked->start_time), seconds(asked->end_time))
                     : std::vector<StoredClip>();
    }

    /// Answers. These functions wait for the expected messages, because they need the operation's GUID.
    void offer(const Camera& camera, const Request& request, const std::vector<StoredClip>& clips);
    void grant(const Camera& camera, const Request& request);
    void deliver(const Camera& camera, const Request& request, const StoredClip& stored, std::int32_t type);
    /// Delivers a file that the module cannot convert completely. The caller predicts its log lines from the
    /// paths of the clip and the recording, and returns whether it removes the clip.
    using Prediction = std::function<bool(const std::string& clip, const std::string& recording)>;
    void deliver_unusual(const Camera& camera, const Request& request, const StoredClip& stored,
                         const Prediction& predict);
    void deliver_no_mp4(const Camera& camera, const Request& request, Seconds start);
    void finish(const Camera& camera, const Request& request);
    void fail(const Camera& camera, const Request& request, std::int32_t error, Seconds failed_clip_start);

    /// Waits until every expected message has arrived.
    void settle();

    /// When the latest message was sent, and when the two latest texts were returned.
    using Instant = std::chrono::system_clock::time_point;
    [[nodiscard]] Instant last_sent() const { return last_sent_; }
    [[nodiscard]] Instant last_return() const { return last_return_; }
    [[nodiscard]] Instant previous_return() const { return previous_return_; }
    /// The latest Close and Unload together.
    [[nodiscard]] std::chrono::nanoseconds last_close_duration() const { return last_close_duration_; }

    /// Texts that the module has not returned.
    [[nodiscard]] std::uint64_t texts_held() const { return host_->texts_held(); }
    [[nodiscard]] std::filesystem::path state_file() const { return directory_.state_file(); }

    /// For a soak run: returns and forgets the recordings so far; forgets ended operations and removes their
    /// folders.
    [[nodiscard]] std::vector<ExpectedRecording> take_recordings() {
        recording_numbers_.clear();
        return std::exchange(recordings_, {});
    }
    void forget_ended_operations();

    [[nodiscard]] const EngineModel& model() const { return model_; }
    /// For events without a function here: the caller updates the model and sends a text.
    [[nodiscard]] EngineModel& model() { return model_; }
    /// Waits for the message that contains the GUID.
    [[nodiscard]] std::string guid(std::size_t operation) {
        settle();
        return bindings_.guid(operation);
    }
    [[nodiscard]] ModuleHost& host() { return *host_; }
    [[nodiscard]] const std::vector<ExpectedRecording>& recordings() const { return recordings_; }
    [[nodiscard]] const MessageCounts& counts() const { return conversation_.counts(); }
    [[nodiscard]] SimulatorState state() const;
    void restore(SimulatorState state);

  private:
    /// The current conversion, for the progress bar.
    struct Conversion {
        std::string label;
        std::string recording;
        std::uint64_t clip_bytes = 0;
        std::uint64_t seen_bytes = 0;
    };

    void load(const std::string& load_error);
    /// With the safe profile, passes of the main loop have effects, and order them before the next event.
    void settle_passes();
    void wait_for_passes();
    void send(const std::string& kind, const std::string& summary, const std::string& text);
    [[nodiscard]] std::string guid(const Request& request);
    [[nodiscard]] std::filesystem::path temporary_directory(const Camera& camera,
                                                            const Request& request) const;
    /// Places a clip at the path and predicts what the module does with it. Returns whether the module
    /// removes it.
    using PlaceClip = std::function<bool(const std::filesystem::path& file)>;
    void hand_over(const Camera& camera, const Request& request, const std::string& file_name,
                   ClipNotice notice, const PlaceClip& place);
    void expect_recording(const ExpectedRecording& recording);
    bool watch_conversion();
    void check(const ReceivedMessage& message);
    [[nodiscard]] bool fits(const ReceivedMessage& message, const Expected& expected);
    [[nodiscard]] std::string description_of_next() const;
    [[nodiscard]] std::string difference_from_next(const ReceivedMessage& message) const;
    void check_state_file();

    Settings settings_;
    WorkingDirectory& directory_;
    Conversation& conversation_;
    std::deque<Expected> expected_;
    EngineModel model_;
    Bindings bindings_;
    std::vector<ExpectedRecording> recordings_;
    std::map<std::string, std::size_t> recording_numbers_;  // by path
    std::optional<Conversion> conversion_;
    std::uint64_t clips_placed_ = 0;
    Instant last_sent_;
    Instant last_return_;
    Instant previous_return_;
    std::chrono::nanoseconds last_close_duration_{};
    std::unique_ptr<ModuleHost> host_;
};

}  // namespace recorder
