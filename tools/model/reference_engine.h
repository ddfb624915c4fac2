#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "plugin/interfaces/event_sink.h"
#include "plugin/interfaces/options.h"
#include "plugin/interfaces/persistent_store.h"
#include "plugin/interfaces/tal_server.h"

namespace model {

using norvane::ChannelKey, norvane::DeviceKey, norvane::DisconnectRecord, norvane::Guid, norvane::Operation,
    norvane::Ticks;

/// An operation, and what only options use.
struct TrackedOperation : norvane::OperationState {
    std::int64_t number = 0;  // counts the operations of this run
    bool is_retry = false;    // after its delay
    Ticks delay_end = 0;
};

/// The form of instants in log lines: "2018-06-01T10:00:00Z"; before 1970 the plain number.
[[nodiscard]] std::string utc_text(std::int64_t seconds);

/// The rules of the retrieval engine in their simplest form: vectors that are scanned from the front. It
/// shares no code with engine/, so a fault in one of them shows as a difference. Its requests, status reports
/// and log lines go to an ITalServer. The fuzz target compares them with the module's; the recorder turns
/// them into the messages that it expects.
///
/// Channels
/// - A device counts from the report that it is supported until the report that it was removed. Reports of
///   channels of other devices are ignored.
/// - A disconnected channel is lost. Its gap starts 10 s before the report. A second loss changes nothing.
/// - A lost channel returns when the same channel is reported connected. Each return creates one operation,
///   which fetches the device's recordings from the start of the gap to the return.
/// - A device has one entry for each return and for each report of a connected channel that was not lost.
///   A loss or a removal takes one entry away. A device with an entry is connected.
/// - The removal of a device that is not connected also forgets the loss of its channel 0.
///
/// Operations
/// - They are kept in the order of creation. The first one is the current operation. The first one with a
///   connected device is the next to start.
/// - The next one is started when a return finds the engine idle, when the current operation's device is
///   lost, after each retry, and when an operation ends and others are left. The engine is idle while no
///   operation could be started.
/// - The requests in order: storage info; after the answer, a reservation; after the grant, the recordings.
///   Each clip is converted when it arrives. A reply counts if its GUID is known, whatever was requested.
/// - Each start and each failure counts one attempt. A failed operation with at most two attempts is retried:
///   it keeps its position and starts at the failed clip. So a new operation is retried once.
/// - An operation ends when it is done or fails for the last time. Its reservation is always released.
/// - Status 2 (started) is reported when an operation is created and no other one exists. Status 3 (all done)
///   is reported when the last one has ended.
///
/// Restart
/// - Losses and operations are saved at the end. Each entry of a connected device is saved as a loss of
///   channel 0 at that instant.
/// - They are read at the next start, and the saved state is then emptied. If reading fails, whatever was
///   read before the fault counts, and the saved state remains.
///
/// Options
/// - channels: a device is connected through its channels, each of which counts once and is saved as itself.
///   The removal of a device forgets its channels and their losses. Saved losses of one channel become the
///   earliest.
/// - attempts: a start is not an attempt, and a new operation may fail once. A failed clip outside the
/// interval
///   does not move its start.
/// - request-timeout, retries: one operation waits for an answer, until it ends, fails or its device is lost
///   or removed. No other one starts, and it counts as the current operation. Each tick starts the next one.
/// - request-timeout: an operation that waits for too long fails, and so does one with an unusable answer.
///   Its retry follows the operations that have not failed.
/// - retries: an operation may fail as often as given. The first retry is delayed as given, each further one
///   twice as long, up to an hour. Then the operation has failed. It is saved, but counts no longer for
///   status reports. After the next start it is retried like a new one that was delayed, unless it failed too
///   long ago.
class ReferenceEngine final : public norvane::IEventSink {
  public:
    /// Starts. All three must outlive the engine.
    ReferenceEngine(norvane::ITalServer& server, norvane::IPersistentStore& store,
                    const platform::Clock& clock, const norvane::Options& options = {});
    ReferenceEngine(const ReferenceEngine&) = delete;
    ReferenceEngine& operator=(const ReferenceEngine&) = delete;
    /// Saves and stops.
    ~ReferenceEngine() override;

    void OnDeviceSupported(std::int32_t devices_id, std::int32_t number) override;
    void OnDeviceRemoved(std::int32_t devices_id, std::int32_t number) override;
    void OnChannelState(const ChannelKey* channel, std::int32_t state, const void* unused,
                        Ticks time) override;
    void OnStorageInfo(const Guid& guid, std::uint32_t gigabytes) override;
    void OnReservation(Guid guid, const platform::Path& temporary, const platform::Path& output) override;
    void OnClipRetrieved(Guid guid, platform::Path clip_file, std::int32_t clip_type, Ticks start, Ticks stop,
                         std::int32_t input_number, std::string input_name) override;
    void OnRetrievalDone(Guid guid) override;
    void OnRetrievalFailed(Guid guid, std::int32_t error_code, Ticks failed_clip_start) override;
    bool OnUnusableAnswer(const std::optional<Guid>& guid, const std::string& reason) override;
    void OnTick(Ticks now) override;

    /// True if an operation has neither ended nor used up its retries.
    [[nodiscard]] bool has_pending() const;
    [[nodiscard]] bool is_idle() const { return idle_; }
    [[nodiscard]] const std::vector<TrackedOperation>& operations() const { return operations_; }

  private:
    using Position = std::vector<TrackedOperation>::iterator;

    [[nodiscard]] Position find(const Guid& guid) {
        return std::ranges::find(operations_, guid, &Operation::guid);
    }
    template <typename Predicate>
    [[nodiscard]] Position first(Predicate predicate);
    [[nodiscard]] Position waiting();
    [[nodiscard]] bool waits() const { return options_.request_timeout > 0 || options_.retries > 0; }

    void adopt(const norvane::EngineState& saved);
    void connect(const ChannelKey& channel);
    void forget_channels(const DeviceKey& device);
    void channel_lost(const ChannelKey& channel, Ticks time);
    void channel_returned(std::vector<DisconnectRecord>::iterator loss, Ticks time);
    void start_next();
    void fail(Position operation, norvane::FailureReason reason, std::int32_t error_code, Ticks start);
    void answered(const TrackedOperation& operation);
    void forget(const Operation& operation);
    [[nodiscard]] bool failed_too_long_ago(const norvane::Failure& failure) const;
    void end(Position operation);
    void end_or_start_next();
    void info(const std::string& line) { server_.LogInfo(("NorVane - " + line).c_str()); }
    void error(const std::string& line) { server_.LogError(("NorVane - " + line).c_str()); }

    norvane::ITalServer& server_;
    norvane::IPersistentStore& store_;
    const platform::Clock& clock_;
    const norvane::Options options_;
    std::vector<DeviceKey> supported_;
    std::vector<ChannelKey> connected_;  // channel 0 for each report, unless channels are told apart
    std::vector<DisconnectRecord> losses_;
    std::vector<TrackedOperation> operations_;
    std::int64_t next_number_ = 0;
    std::optional<std::int64_t> waiting_;  // the number of the operation that waits for an answer
    Ticks deadline_ = 0;
    bool idle_ = true;
};

}  // namespace model
