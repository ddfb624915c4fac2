#pragma once

#include <algorithm>
#include <vector>

#include "platform/clock.h"
#include "plugin/interfaces/event_sink.h"
#include "plugin/interfaces/persistent_store.h"
#include "plugin/interfaces/tal_server.h"

/// The retrieval engine a second time, as plainly as it can be said: arrays that are scanned from the front.
/// The real one has to ask the host for exactly the same, in the same order.
class SimpleEngine final : public norvane::IEventSink {
  public:
    SimpleEngine(norvane::ITalServer& server, norvane::IPersistentStore& store, const platform::Clock& clock);
    SimpleEngine(const SimpleEngine&) = delete;
    SimpleEngine& operator=(const SimpleEngine&) = delete;
    ~SimpleEngine() override;

    void OnDeviceSupported(std::int32_t devices_id, std::int32_t number) override;
    void OnStorageInfo(const norvane::Guid& guid, std::uint32_t gigabytes) override;
    void OnChannelState(const norvane::ChannelKey* channel, std::int32_t state, const void* unused,
                        norvane::Ticks time) override;
    void OnClipRetrieved(norvane::Guid guid, platform::Path clip_file, std::int32_t clip_type,
                         norvane::Ticks start, norvane::Ticks stop, std::int32_t input_number,
                         std::string input_name) override;
    void OnRetrievalDone(norvane::Guid guid) override;
    void OnRetrievalFailed(norvane::Guid guid, std::int32_t error_code,
                           norvane::Ticks failed_clip_start) override;
    void OnReservation(norvane::Guid guid, const platform::Path& temporary,
                       const platform::Path& output) override;
    void OnDeviceRemoved(std::int32_t devices_id, std::int32_t number) override;

    [[nodiscard]] bool is_idle() const { return idle_; }
    [[nodiscard]] const std::vector<norvane::Operation>& operations() const { return operations_; }

  private:
    [[nodiscard]] auto find(const norvane::Guid& guid) {
        return std::ranges::find(operations_, guid, &norvane::Operation::guid);
    }
    void lose(const norvane::DeviceKey& device, const norvane::DisconnectRecord& record);
    void start_next();
    void complete(std::vector<norvane::Operation>::iterator operation);
    void info(const std::string& line) { server_.LogInfo(("NorVane - " + line).c_str()); }
    void error(const std::string& line) { server_.LogError(("NorVane - " + line).c_str()); }

    norvane::ITalServer& server_;
    norvane::IPersistentStore& store_;
    const platform::Clock& clock_;
    std::vector<norvane::DeviceKey> supported_;
    std::vector<norvane::DeviceKey> connected_;
    std::vector<norvane::DisconnectRecord> disconnects_;
    std::vector<norvane::Operation> operations_;
    bool idle_ = true;
};
