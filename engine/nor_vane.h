#pragma once

#include <boost/multi_index/member.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "engine/indexed_list.h"
#include "engine/operation_queue.h"
#include "engine/retry_policy.h"
#include "platform/clock.h"
#include "plugin/interfaces/event_sink.h"
#include "plugin/interfaces/options.h"
#include "plugin/interfaces/persistent_store.h"
#include "plugin/interfaces/tal_server.h"

namespace norvane {

/// The retrieval engine. It tracks the devices that keep their own recordings and the channels that are
/// disconnected, and retrieves the recordings of each gap. It is deterministic: the same events at the same
/// times give the same requests. It acts on every reply that names a known GUID. By default it stores no
/// state per operation besides the record itself; what options add is in retry_policy.h. docs/architecture.md
/// shows the life of an operation.
///
/// nor_vane.cpp handles devices, channels, start and shutdown; retrieval.cpp handles the dialog about one
/// operation.
class CNorVane final : public IEventSink {
  public:
    /// Loads the saved state. The server, the store and the clock are not owned and must outlive the engine.
    CNorVane(ITalServer& server, IPersistentStore& store, const platform::Clock& clock,
             const Options& options = {});
    CNorVane(const CNorVane&) = delete;
    CNorVane& operator=(const CNorVane&) = delete;
    /// Saves the state.
    ~CNorVane() override;

    void OnDeviceSupported(std::int32_t devices_id, std::int32_t device_number) override;
    void OnStorageInfo(const Guid& guid, std::uint32_t gigabytes) override;
    void OnChannelState(const ChannelKey* channel, std::int32_t state, const void* unused,
                        Ticks time) override;
    void OnClipRetrieved(Guid guid, platform::Path clip_file, std::int32_t clip_type, Ticks start, Ticks stop,
                         std::int32_t input_number, std::string input_name) override;
    void OnRetrievalDone(Guid guid) override;
    void OnRetrievalFailed(Guid guid, std::int32_t error_code, Ticks failed_clip_start) override;
    void OnReservation(Guid guid, const platform::Path& temporary_directory,
                       const platform::Path& output_directory) override;
    void OnDeviceRemoved(std::int32_t devices_id, std::int32_t device_number) override;
    bool OnUnusableAnswer(const std::optional<Guid>& guid, const std::string& reason) override;
    void OnTick(Ticks now) override;

    /// What a restart must not lose. May be called between any two events.
    [[nodiscard]] EngineState state() const;

  private:
    using Disconnects =
        IndexedList<DisconnectRecord,
                    boost::multi_index::member<DisconnectRecord, ChannelKey, &DisconnectRecord::channel>>;
    using Position = OperationQueue::Position;

    void load_state();
    void save_state();
    void adopt_gap(const DisconnectRecord& gap);
    void adopt_operation(OperationState operation);
    [[nodiscard]] std::vector<ChannelKey> connected_channels() const;
    void connect(const ChannelKey& channel);
    void disconnect(const ChannelKey& channel);
    void forget_channels(const DeviceKey& device);
    void connect_channel(Disconnects::iterator gap, Ticks time);
    void disconnect_channel(const ChannelKey& channel, Ticks time);
    void append_connected(const Operation& operation, const ChannelKey& channel);

    [[nodiscard]] std::optional<Position> operation_of(const DeviceKey& device) const;
    [[nodiscard]] bool is_current(Position position) const;

    void StartNextOperation();
    void ReserveDiskSpace(const Operation& operation, std::uint32_t gigabytes);
    void CompleteOperation(Position position);
    void CompleteRemaining();
    void fail(Position position, const Failure& failure, Ticks retry_start);
    void keep_failed(Position position);
    void forget_failed();
    void end_request(Position position);
    void await(Position position, Stage answer);

    void log_info(const std::string& line) { server_.LogInfo(line.c_str()); }
    void log_error(const std::string& line) { server_.LogError(line.c_str()); }

    ITalServer& server_;
    IPersistentStore& store_;
    const platform::Clock& clock_;
    const Options options_;
    const RetryPolicy policy_{options_};
    std::set<DeviceKey> supported_;
    std::set<ChannelKey> connected_;  // only with the option `channels`
    Disconnects disconnects_;
    OperationQueue queue_;
    // The operation that waits for an answer of the host. Only if RetryPolicy::follows_requests().
    struct Request {
        Position operation;
        Ticks deadline;  // of Clock::steady()
    };
    std::optional<Request> request_;
    // If true, the next operation that a reconnected channel creates starts retrieval immediately.
    bool idle_ = true;
};

}  // namespace norvane
