#pragma once

#include <chrono>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/recorder/host/camera.h"
#include "tools/recorder/host/conversation.h"
#include "tools/recorder/host/module_host.h"
#include "tools/recorder/host/working_directory.h"
#include "tools/recorder/model/engine_model.h"

namespace recorder {

/// A recording that the plug-in has to have made, and what it has to show.
struct ExpectedRecording {
    std::string path;
    Seconds start = 0;
    std::uint32_t frames = 0;
};

/// What a simulator hands to the simulator of the next process.
struct SimulatorState {
    SavedModel model;
    std::map<std::size_t, std::string> guids;  // of the operations in the model
    std::vector<ExpectedRecording> recordings;
    MessageCounts counts;
};

/// The played host: tells the plug-in what happens, answers its requests, and holds every message that comes
/// back against the model's prediction. Whatever differs is thrown as ModuleFault.
class HostSimulator {
  public:
    struct Settings {
        std::filesystem::path module;
        std::chrono::seconds patience{};  // with a plug-in that makes no progress
    };
    HostSimulator(Settings settings, WorkingDirectory& directory, Conversation& conversation);

    /// Loads and opens the plug-in; closes and unloads it and checks the state file that it leaves.
    void open();
    /// The same with a state file that cannot be read, for the reason given.
    void open_in_vain(const std::string& load_error);
    void close();

    /// Events. They do not wait: what comes back is checked by the next call of settle().
    void announce(const Camera& camera);
    void report(const Camera& camera, bool connected, Seconds time);
    void send_text(const std::string& kind, const std::string& text);
    /// An answer that names no operation of the plug-in.
    void report_done_for_nobody(const Camera& camera);

    /// The plug-in's unanswered requests. An answer takes its request out of the list.
    [[nodiscard]] std::vector<Request>& requests() { return model_.requests(); }
    /// The interval that the plug-in asks for now.
    [[nodiscard]] const Operation* operation(const Request& request) const {
        return model_.operation(request.operation);
    }

    /// Answers. They wait for everything before, since they need the operation's GUID.
    void offer(const Camera& camera, const Request& request, const std::vector<StoredClip>& clips);
    void grant(const Camera& camera, const Request& request);
    void deliver(const Camera& camera, const Request& request, const StoredClip& stored, std::int32_t type);
    /// A file that is no sound clip. What is said of it is predicted by the caller, who is given its path and
    /// the recording's.
    using Prediction = std::function<void(const std::string& clip, const std::string& recording)>;
    void deliver_odd(const Camera& camera, const Request& request, const StoredClip& stored,
                     const Prediction& predict);
    void deliver_no_mp4(const Camera& camera, const Request& request, Seconds start);
    void finish(const Camera& camera, const Request& request);
    void fail(const Camera& camera, const Request& request, std::int32_t error, Seconds failed_clip_start);

    /// Sleeper until everything expected has come.
    void settle();

    /// Of the latest message that was sent, and of the two latest texts that came back.
    using Instant = std::chrono::system_clock::time_point;
    [[nodiscard]] Instant last_sending() const { return last_sending_; }
    [[nodiscard]] Instant last_return() const { return last_return_; }
    [[nodiscard]] Instant return_before() const { return return_before_; }
    /// What the latest Close and Unload took together.
    [[nodiscard]] std::chrono::nanoseconds last_closing() const { return last_closing_; }

    /// Texts that the open plug-in has not given back.
    [[nodiscard]] std::uint64_t texts_held() const { return host_->texts_held(); }
    [[nodiscard]] std::filesystem::path state_file() const { return directory_.state_file(); }

    /// For a story that goes on for long: hands over the recordings made so far, and drops what it knows, and
    /// what lies about, of operations that have ended.
    [[nodiscard]] std::vector<ExpectedRecording> take_recordings();
    void forget_what_ended();

    [[nodiscard]] const EngineModel& model() const { return model_; }
    /// For events that have no function here: they are told to the model and sent as texts.
    [[nodiscard]] EngineModel& prediction() { return model_; }
    /// As soon as a message told it.
    [[nodiscard]] std::string guid(std::size_t operation);
    [[nodiscard]] ModuleHost& host() { return *host_; }
    [[nodiscard]] const std::vector<ExpectedRecording>& recordings() const { return recordings_; }
    [[nodiscard]] const MessageCounts& counts() const { return conversation_.counts(); }
    [[nodiscard]] SimulatorState memory() const;
    void remember(SimulatorState memory);

  private:
    /// A conversion that the plug-in is at.
    struct Conversion {
        std::string label;
        std::string recording;
        std::uint64_t clip_bytes = 0;
        std::uint64_t seen_bytes = 0;
    };

    void load(const std::string& load_error);
    void tell(const std::string& kind, const std::string& summary, const std::string& text);
    [[nodiscard]] std::string guid(const Request& request);
    [[nodiscard]] std::filesystem::path temporary_directory(const Camera& camera,
                                                            const Request& request) const;
    std::filesystem::path place_clip(const Camera& camera, const Request& request,
                                     const std::string& file_name);
    void notify_clip(const Camera& camera, const Request& request, const ClipNotice& notice);
    void remove_clip(const std::filesystem::path& file, bool converted) const;
    void expect_recording(const ExpectedRecording& recording);
    bool watch_conversion();
    void check(const ReceivedMessage& message);
    [[nodiscard]] bool fits(const ReceivedMessage& message, const Expected& expected);
    [[nodiscard]] std::string description_of_next() const;
    void check_state_file();

    Settings settings_;
    WorkingDirectory& directory_;
    Conversation& conversation_;
    std::deque<Expected> expected_;
    EngineModel model_{expected_};
    Bindings bindings_;
    std::vector<ExpectedRecording> recordings_;
    std::map<std::string, std::size_t> recording_numbers_;  // by path
    std::optional<Conversion> conversion_;
    std::uint64_t clips_placed_ = 0;
    Instant last_sending_;
    Instant last_return_;
    Instant return_before_;
    std::chrono::nanoseconds last_closing_{};
    std::unique_ptr<ModuleHost> host_;
};

}  // namespace recorder
