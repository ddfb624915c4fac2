#pragma once

// What a plug-in has to do, seen from the host: a small model that is told every message sent to the plug-in
// and predicts every message that comes back, text for text.

#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/recorder/host/host_documents.h"
#include "tools/recorder/model/pattern.h"

namespace recorder {

/// One message that has to come.
struct Expected {
    std::uint32_t message_class = 0;
    std::string pattern;           // of the document; unused for a text given back
    std::uint64_t given_back = 0;  // number of the text
    bool any_number = false;       // may come many times or never
};

/// A request of the plug-in that the host has not answered yet.
struct Request {
    enum class Kind { kStorageInfo, kReservation, kRecordings };
    Kind kind = Kind::kStorageInfo;
    std::size_t operation = 0;
    Device device;
};

/// One retrieval as the plug-in keeps it.
struct Operation {
    std::size_t number = 0;  // ours; the GUID is bound to it
    Device device;
    Seconds start = 0;
    Seconds end = 0;
    int attempts = 0;
};

/// A channel that was lost. No time: the plug-in's present instant at shutdown, until the state file tells
/// it.
struct Loss {
    Device device;
    std::optional<Seconds> time;
};

/// What outlives a restart.
struct SavedModel {
    std::vector<Loss> losses;
    std::vector<Operation> operations;
    std::size_t operations_made = 0;
    std::size_t operations_done = 0;
    std::size_t operations_dropped = 0;
    bool state_file_exists = false;
};

class EngineModel {
  public:
    /// Predictions are appended to `expected`.
    explicit EngineModel(std::deque<Expected>& expected) : expected_(expected) {}

    /// The reason for which the plug-in could not read its state file; empty for none.
    void on_open(const std::string& load_error);
    void on_device(const Device& device);
    void on_channel(const Device& device, bool connected, Seconds time);
    void on_storage_info(std::size_t operation, std::int32_t megabytes);
    void on_reservation(std::size_t operation, const std::string& temporary_directory);
    void on_done(std::size_t operation);
    void on_failed(std::size_t operation, std::int32_t error, Seconds failed_clip_start);
    /// The clip is converted into the recording, or refused because it is no MP4 file.
    void on_clip(std::size_t operation, const std::string& clip, const std::string& recording);
    void on_refused_clip(std::size_t operation, const std::string& clip);
    /// The camera is gone, and was connected.
    void on_removed(const Device& device);
    /// Afterwards only what is saved is left.
    void on_close();

    /// One message more, for what the events above do not tell.
    void expect(std::uint32_t message_class, const std::string& content);
    void expect_log(int level, const std::string& text);

    /// The state file after on_close(); its present instants belong, in order, to the losses without a time.
    [[nodiscard]] std::string state_file() const;
    void set_open_times(const std::vector<Seconds>& times);

    [[nodiscard]] std::vector<Request>& requests() { return requests_; }
    /// Null for one that ended.
    [[nodiscard]] const Operation* operation(std::size_t number) const;
    [[nodiscard]] bool all_done() const { return saved_.operations.empty(); }
    [[nodiscard]] const SavedModel& saved() const { return saved_; }
    void restore(SavedModel saved) { saved_ = std::move(saved); }

  private:
    using Iterator = std::vector<Operation>::iterator;

    void expect_status(int status);
    void expect_storage_command(const Operation& operation, const char* command, const std::string& further);
    void expect_release(const Operation& operation);

    [[nodiscard]] Iterator find(std::size_t number);
    void disconnect(const Device& device);
    void on_lost(const Device& device, Seconds time);
    void on_return(std::vector<Loss>::iterator loss, Seconds time);
    void start_next();
    void complete(Iterator operation);

    std::deque<Expected>& expected_;
    SavedModel saved_;
    std::set<Device> supported_;
    std::vector<Device> connected_;  // one for every report of a connected channel
    std::vector<Request> requests_;
    bool idle_ = true;
};

}  // namespace recorder
