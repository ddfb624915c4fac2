#include "tools/model/reference_engine.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <boost/uuid/uuid_io.hpp>
#include <exception>
#include <limits>

using namespace norvane;
using boost::uuids::to_string;
using fmt::format;

namespace model {
namespace {

constexpr Ticks kBeforeLoss = 10 * platform::kTicksPerSecond;
constexpr std::int32_t kMaxAttempts = 2;

std::string text(Ticks instant) {
    return utc_text(instant / platform::kTicksPerSecond);
}
std::string text(const DeviceKey& device) {
    return format("{} {}", device.devices_id, device.number);
}
std::string text(const Operation& operation) {
    return to_string(operation.guid) + " for device " + text(operation.device);
}

DeviceKey key(std::int32_t devices_id, std::int32_t number) {
    return {static_cast<std::uint32_t>(devices_id), static_cast<std::uint32_t>(number)};
}
ChannelKey channel_zero(const DeviceKey& device) {
    return {.device_number = device.number, .devices_id = device.devices_id};
}

/// Stops at the largest number, because a state file may contain any.
void count_attempt(Operation& operation) {
    operation.attempts += operation.attempts < std::numeric_limits<std::int32_t>::max() ? 1 : 0;
}

bool erase_first(std::vector<DeviceKey>& devices, const DeviceKey& device) {
    const auto found = std::ranges::find(devices, device);
    return found != devices.end() && (devices.erase(found), true);
}

}  // namespace

std::string utc_text(std::int64_t seconds) {
    if (seconds < 0) return std::to_string(seconds);
    return format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(static_cast<std::time_t>(seconds)));
}

ReferenceEngine::ReferenceEngine(ITalServer& server, IPersistentStore& store, const platform::Clock& clock)
    : server_(server), store_(store), clock_(clock) {
    info("reading saved state and loading.");
    try {
        store_.LoadState(losses_, operations_);
        std::vector<DisconnectRecord> none;
        store_.SaveState(none, {});
    } catch (const std::exception& fault) {
        error(format("Error '{}' reading Nor Vane persisted state.", fault.what()));
    }
}

ReferenceEngine::~ReferenceEngine() {
    info("saving state and unloading.");
    for (const DeviceKey& device : connected_)
        losses_.push_back({store_.CurrentTime(), channel_zero(device)});
    try {
        store_.SaveState(losses_, operations_);
    } catch (const std::exception& fault) {
        error(format("Error '{}' writing Nor Vane persisted state.", fault.what()));
    }
}

void ReferenceEngine::OnDeviceSupported(std::int32_t devices_id, std::int32_t number) {
    const DeviceKey device = key(devices_id, number);
    if (std::ranges::count(supported_, device) == 0) supported_.push_back(device);
}

void ReferenceEngine::OnDeviceRemoved(std::int32_t devices_id, std::int32_t number) {
    const DeviceKey device = key(devices_id, number);
    erase_first(supported_, device);
    if (erase_first(connected_, device)) return;
    const auto loss = std::ranges::find(losses_, channel_zero(device), &DisconnectRecord::channel);
    if (loss != losses_.end()) losses_.erase(loss);
}

void ReferenceEngine::OnChannelState(const ChannelKey* channel, std::int32_t state, const void* /*unused*/,
                                     Ticks time) {
    if (std::ranges::count(supported_, channel->device()) == 0) return;
    const auto loss = std::ranges::find(losses_, *channel, &DisconnectRecord::channel);
    if (loss != losses_.end()) {
        if (state == kConnected) channel_returned(loss, time);
    } else if (state == kDisconnected) {
        channel_lost(*channel, time);
    } else if (state == kConnected) {
        connected_.push_back(channel->device());
    }
}

void ReferenceEngine::channel_returned(std::vector<DisconnectRecord>::iterator loss, Ticks time) {
    if (operations_.empty()) {
        info("operation starting.");
        server_.ReportStarted(clock_.now());
    }
    const DeviceKey device = loss->channel.device();
    operations_.push_back({device, server_.GenerateGuid(), loss->time, time, 0});
    info("creating operation id " + text(operations_.back()));
    losses_.erase(loss);
    connected_.push_back(device);
    if (idle_) start_next();
}

void ReferenceEngine::channel_lost(const ChannelKey& channel, Ticks time) {
    const auto operation = std::ranges::find(operations_, channel.device(), &Operation::device);
    // By GUID: a state file may name one operation several times.
    const bool is_current = operation != operations_.end() && operation->guid == operations_.front().guid;
    if (operation != operations_.end())
        info(format("disconnect during {}operation {}", is_current ? "current " : "", text(*operation)));
    erase_first(connected_, channel.device());
    losses_.push_back({time - kBeforeLoss, channel});
    if (is_current) start_next();
}

void ReferenceEngine::start_next() {
    if (operations_.empty()) return;
    const auto next = std::ranges::find_if(operations_, [&](const Operation& operation) {
        return std::ranges::count(connected_, operation.device) > 0;
    });
    idle_ = next == operations_.end();
    if (idle_) return;
    const auto& [device, guid, start, stop, attempts] = *next;
    info(
        format("requesting device storage info for {} from {} to {}", text(device), text(start), text(stop)));
    server_.RequestStorageInfo(guid, device.devices_id, device.number, start, stop);
    count_attempt(*next);
}

void ReferenceEngine::OnStorageInfo(const Guid& guid, std::uint32_t gigabytes) {
    const auto operation = find(guid);
    if (operation == operations_.end()) return error(format("operation {} not found.", to_string(guid)));
    info(format("requesting disk space reservation of {} GB for operation {} device {}", gigabytes,
                to_string(guid), text(operation->device)));
    server_.RequestDiskReservation(guid, gigabytes);
}

void ReferenceEngine::OnReservation(Guid guid, const platform::Path& temporary,
                                    const platform::Path& output) {
    const auto operation = find(guid);
    if (operation == operations_.end())
        return error(format("operation {} in disk space response was not found.", to_string(guid)));
    const auto& [device, same_guid, start, stop, attempts] = *operation;
    info(format("requesting recordings from {} gap start time{} gap end time {}", text(device), text(start),
                text(stop)));
    server_.RequestRecordings(guid, device.devices_id, device.number, start, stop, temporary, output);
}

void ReferenceEngine::OnClipRetrieved(Guid guid, platform::Path clip_file, std::int32_t clip_type,
                                      Ticks start, Ticks stop, std::int32_t /*input_number*/,
                                      std::string input_name) {
    const auto operation = find(guid);
    if (operation == operations_.end()) return;
    server_.ConvertClip(guid, operation->device.devices_id, operation->device.number, clip_file, input_name,
                        start, stop, clip_type);
}

void ReferenceEngine::OnRetrievalDone(Guid guid) {
    const auto operation = find(guid);
    if (operation == operations_.end()) return info("done signal for unknown operation.");
    info("retrieve operation " + text(*operation) + " completed successfully.");
    end(operation);
}

void ReferenceEngine::OnRetrievalFailed(Guid guid, std::int32_t error_code, Ticks failed_clip_start) {
    const auto operation = find(guid);
    if (operation == operations_.end()) return info("operation failed received for unknown operation.");
    error(format("retrieve operation {} completed with error {}", text(*operation), error_code));
    count_attempt(*operation);
    if (operation->attempts > kMaxAttempts) {
        error("operation " + text(*operation) + " exceeded the retry limit.");
        return end(operation);
    }
    operation->start_time = failed_clip_start;
    server_.ReleaseDiskReservation(guid);
    start_next();
}

void ReferenceEngine::end(Position operation) {
    server_.ReleaseDiskReservation(operation->guid);
    operations_.erase(operation);
    if (!operations_.empty()) return start_next();
    idle_ = true;
    server_.ReportStatus(kStatusAllDone, clock_.now());
    info("all operations completed successfully.");
}

}  // namespace model
