#pragma once

#include <set>
#include <string>

#include "engine/operation_queue.h"
#include "engine/sequence.h"
#include "platform/clock.h"
#include "plugin/interfaces/event_sink.h"
#include "plugin/interfaces/persistent_store.h"
#include "plugin/interfaces/tal_server.h"

namespace norvane {

/// The retrieval engine: which devices keep recordings of their own, which channels were lost, and what is to
/// be fetched. Pure: the same events at the same times give the same requests. It keeps no step per
/// operation; every reply that names a known GUID is acted on. docs/architecture.md draws the life of an
/// operation.
///
/// nor_vane.cpp has devices, channels, start and end; retrieval.cpp has the conversation about one operation.
class CNorVane final : public IEventSink {
  public:
    /// Reads the saved state. All three are not owned and have to outlive the engine.
    CNorVane(ITalServer& server, IPersistentStore& store, const platform::Clock& clock);
    CNorVane(const CNorVane&) = delete;
    CNorVane& operator=(const CNorVane&) = delete;
    /// Saves the state; raises nothing.
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

  private:
    struct ByChannel {
        ChannelKey operator()(const DisconnectRecord& record) const { return record.channel; }
    };
    using Position = OperationQueue::Position;

    void load_state();
    void save_state();
    void channel_returned(Sequence<DisconnectRecord, ByChannel>::Position lost, Ticks time);
    void take_up(const Operation& operation);
    void channel_lost(const ChannelKey& channel, Ticks time);

    void StartNextOperation();
    void ReserveDiskSpace(const Operation& operation, std::uint32_t gigabytes);
    void CompleteOperation(Position position);

    void log_info(const std::string& line) { server_.LogInfo(line.c_str()); }
    void log_error(const std::string& line) { server_.LogError(line.c_str()); }

    ITalServer& server_;
    IPersistentStore& store_;
    const platform::Clock& clock_;
    std::set<DeviceKey> supported_;
    Sequence<DisconnectRecord, ByChannel> disconnects_;
    OperationQueue queue_;
    // While true, a channel's return that creates an operation starts work at once.
    bool idle_ = true;
};

}  // namespace norvane
