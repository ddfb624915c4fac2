#pragma once

// Predicts the module's messages. The reference engine says what the module does; this translates its effects
// into the documents that the host must receive.

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "tools/model/reference_engine.h"
#include "tools/recorder/model/camera.h"
#include "tools/recorder/model/pattern.h"

namespace recorder {

/// One message that the module must send next.
struct Expected {
    std::uint32_t message_class = 0;
    std::string pattern;                // of the document; unused for a returned text
    std::uint64_t returned_number = 0;  // of the text; 0 for a document
    bool any_number = false;            // may be sent any number of times
};

/// A request of the module that the host has not answered yet.
struct Request {
    enum class Kind { kStorageInfo, kReservation, kRecordings };
    Kind kind = Kind::kStorageInfo;
    std::size_t operation = 0;
    Device device;
};

using norvane::Operation;

/// The recorder numbers the operations from 1. This is the model's GUID of an operation; Bindings maps the
/// numbers to the module's GUIDs.
[[nodiscard]] norvane::Guid guid_of(std::size_t operation);
[[nodiscard]] std::size_t number_of(const norvane::Guid& guid);

/// The model's time of a loss at shutdown, until the state file shows the instant.
inline constexpr norvane::Ticks kPresent = INT64_MAX;

[[nodiscard]] constexpr norvane::Ticks ticks(Seconds seconds) {
    return seconds * platform::kTicksPerSecond;
}
[[nodiscard]] constexpr Seconds seconds(norvane::Ticks ticks) {
    return ticks / platform::kTicksPerSecond;
}

/// Losses and operations are those in the state file, so they are empty while the module is open.
struct SavedModel {
    std::vector<norvane::DisconnectRecord> losses;
    std::vector<norvane::OperationState> operations;
    std::size_t operations_made = 0;
    std::size_t operations_done = 0;
    std::size_t operations_dropped = 0;
    bool state_file_exists = false;
};

class EngineModel final : public norvane::ITalServer,
                          public norvane::IPersistentStore,
                          public platform::Clock {
  public:
    /// Predictions are appended to `expected`. A retry may have no delay other than 0.
    EngineModel(std::deque<Expected>& expected, const norvane::Options& options)
        : expected_(expected), options_(options) {}

    /// Why the module could not read its state file; empty if it could.
    void on_open(const std::string& load_error);
    void on_close() {
        engine_.reset();
        requests_.clear();
    }
    /// A pass of the module's main loop after the previous event.
    void on_pass();
    void on_device(const Device& device);
    void on_removed(const Device& device);
    void on_channel(const Device& device, bool connected, Seconds time);
    void on_storage_info(std::size_t operation, std::int32_t megabytes);
    void on_reservation(std::size_t operation, const std::string& temporary_directory) {
        engine_->OnReservation(guid_of(operation), platform::path_of(temporary_directory), {});
    }
    void on_done(std::size_t operation);
    void on_failed(std::size_t operation, std::int32_t error, Seconds failed_clip_start);
    void on_clip(std::size_t operation, const std::string& clip, const std::string& recording) {
        engine_->OnClipRetrieved(guid_of(operation), platform::path_of(clip), 1, 0, 0, 0, recording);
    }
    /// The clip is not an MP4 file.
    void on_refused_clip(std::size_t operation, const std::string& clip) { on_clip(operation, clip, ""); }
    /// The clip is an MP4 file without samples that the module reads, or without H.264 video.
    void on_clip_without_samples(std::size_t operation, const std::string& clip) {
        on_clip(operation, clip, std::string(kNoRecording) + kNoTables);
    }
    void on_clip_without_h264(std::size_t operation, const std::string& clip) {
        on_clip(operation, clip, kNoRecording + no_h264_text(clip));
    }

    /// Adds a message that no event above causes.
    void expect(std::uint32_t message_class, const std::string& content);
    void expect_log(int level, const std::string& text);
    /// After a conversion that failed for this reason, with the option keep-failed-clips.
    void expect_kept_clip(const std::string& clip, const std::string& reason);

    /// The pattern of the state file after on_close(). Its present instants are, in order, those of the
    /// losses without a time.
    [[nodiscard]] std::string state_file() const;
    void set_open_times(const std::vector<Seconds>& times);

    [[nodiscard]] std::vector<Request>& requests() { return requests_; }
    /// Empty for an operation that has ended.
    [[nodiscard]] std::optional<Operation> operation(std::size_t number) const;
    [[nodiscard]] bool all_done() const {
        return engine_ ? !engine_->has_pending() : saved_.operations.empty();
    }
    [[nodiscard]] const SavedModel& saved() const { return saved_; }
    void restore(SavedModel saved) { saved_ = std::move(saved); }

  private:
    using Guid = norvane::Guid;
    using Ticks = norvane::Ticks;
    using Path = platform::Path;

    using Losses = std::vector<norvane::DisconnectRecord>;
    using Operations = std::vector<Operation>;

    void SetEventSink(norvane::IEventSink* /*sink*/) override {}
    void RequestStorageInfo(Guid guid, std::uint32_t devices_id, std::uint32_t device_number, Ticks start,
                            Ticks stop) override {
        expect_request(Request::Kind::kStorageInfo, guid, {devices_id, device_number}, start, stop, "");
    }
    void RequestDiskReservation(const Guid& guid, std::uint32_t gigabytes) override;
    void ReleaseDiskReservation(const Guid& guid) override { expect_reservation(guid, R"(Command="3")"); }
    [[nodiscard]] Guid GenerateGuid() override { return guid_of(++saved_.operations_made); }
    void RequestRecordings(Guid guid, std::uint32_t devices_id, std::uint32_t device_number, Ticks start,
                           Ticks stop, const Path& temporary_directory, Path output_directory) override;
    void ConvertClip(Guid guid, std::uint32_t devices_id, std::uint32_t device_number, Path clip_file,
                     std::string recording, Ticks start, Ticks stop, std::int32_t clip_type) override;
    void ReportStarted(Ticks now) override { ReportStatus(norvane::kStatusStarted, now); }
    void ReportStatus(std::int32_t status, Ticks now) override;
    void LogInfo(const char* text) override { expect_log(kLogInformation, text); }
    void LogError(const char* text) override { expect_log(kLogError, text); }

    void SaveEngineState(norvane::EngineState& state) override;
    void LoadEngineState(norvane::EngineState& state) override;
    // The engine uses only the two above.
    void SaveState(Losses& /*losses*/, const Operations& /*operations*/) override {}
    void LoadState(Losses& /*losses*/, Operations& /*operations*/) override {}
    // Only the module knows its present instant: every use of it becomes kPresentInstant.
    [[nodiscard]] Ticks CurrentTime() override { return kPresent; }
    [[nodiscard]] Ticks now() const override { return kPresent; }
    [[nodiscard]] Ticks steady() const override { return steady_; }

    void expect_request(Request::Kind kind, const Guid& guid, const Device& device, Ticks start, Ticks stop,
                        const std::string& further);
    void expect_refusal(const std::string& clip);
    void expect_parsing(const std::string& clip);

    [[nodiscard]] static std::string no_h264_text(const std::string& clip);

    // In place of a recording's path: a character that no path begins with, and the expected error.
    static constexpr const char* kNoRecording = "\n";
    static constexpr const char* kNoTables = "No sample tables found in mp4 container.\n";
    void expect_reservation(const Guid& guid, const std::string& command);

    std::deque<Expected>& expected_;
    norvane::Options options_;
    Ticks steady_ = 0;  // counts the events that must be in order
    SavedModel saved_;
    std::string load_error_;
    std::vector<Request> requests_;
    std::optional<model::ReferenceEngine> engine_;  // while the module is open
};

}  // namespace recorder
