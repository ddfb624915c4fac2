#include "fuzz/simple_engine.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <boost/uuid/uuid_io.hpp>

using namespace norvane;
using boost::uuids::to_string;
using fmt::format;

namespace {

std::string utc(Ticks instant) {
    const std::time_t seconds = instant / 10'000'000;
    return seconds < 0 ? std::to_string(seconds) : format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(seconds));
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
bool erase_first(std::vector<DeviceKey>& devices, const DeviceKey& device) {
    const auto found = std::ranges::find(devices, device);
    return found != devices.end() && (devices.erase(found), true);
}

}  // namespace

SimpleEngine::SimpleEngine(ITalServer& server, IPersistentStore& store, const platform::Clock& clock)
    : server_(server), store_(store), clock_(clock) {
    info("reading saved state and loading.");
    try {
        store_.LoadState(disconnects_, operations_);
        std::vector<DisconnectRecord> none;
        store_.SaveState(none, {});
    } catch (const std::exception& fault) {
        error(format("Error '{}' reading Nor Vane persisted state.", fault.what()));
    }
}

SimpleEngine::~SimpleEngine() {
    info("saving state and unloading.");
    for (const DeviceKey& device : connected_)
        disconnects_.push_back({store_.CurrentTime(), {0, 0, device.number, device.devices_id}});
    try {
        store_.SaveState(disconnects_, operations_);
    } catch (const std::exception& fault) {
        error(format("Error '{}' writing Nor Vane persisted state.", fault.what()));
    }
}

void SimpleEngine::OnDeviceSupported(std::int32_t devices_id, std::int32_t number) {
    erase_first(supported_, key(devices_id, number));
    supported_.push_back(key(devices_id, number));
}

void SimpleEngine::OnDeviceRemoved(std::int32_t devices_id, std::int32_t number) {
    const DeviceKey device = key(devices_id, number);
    erase_first(supported_, device);
    if (erase_first(connected_, device)) return;
    const ChannelKey zero{0, 0, device.number, device.devices_id};
    const auto lost = std::ranges::find(disconnects_, zero, &DisconnectRecord::channel);
    if (lost != disconnects_.end()) disconnects_.erase(lost);
}

void SimpleEngine::OnChannelState(const ChannelKey* channel, std::int32_t state, const void*, Ticks time) {
    const DeviceKey device{channel->devices_id, channel->device_number};
    if (std::ranges::count(supported_, device) == 0) return;
    const auto lost = std::ranges::find(disconnects_, *channel, &DisconnectRecord::channel);
    if (lost == disconnects_.end()) {
        if (state == 2) return lose(device, {time - 100'000'000, *channel});
        if (state == 1) connected_.push_back(device);
    } else if (state == 1) {
        if (operations_.empty()) {
            info("operation starting.");
            server_.ReportStarted(clock_.now());
        }
        operations_.push_back({device, server_.GenerateGuid(), lost->time, time, 0});
        info("creating operation id " + text(operations_.back()));
        disconnects_.erase(lost);
        connected_.push_back(device);
        if (idle_) start_next();
    }
}

void SimpleEngine::lose(const DeviceKey& device, const DisconnectRecord& record) {
    const auto operation = std::ranges::find(operations_, device, &Operation::device);
    const bool is_current = operation != operations_.end() && operation->guid == operations_.front().guid;
    if (operation != operations_.end())
        info(format("disconnect during {}operation {}", is_current ? "current " : "", text(*operation)));
    erase_first(connected_, device);
    disconnects_.push_back(record);
    if (is_current) start_next();
}

void SimpleEngine::start_next() {
    if (operations_.empty()) return;
    const auto next = std::ranges::find_if(
        operations_, [&](auto& one) { return std::ranges::count(connected_, one.device) > 0; });
    idle_ = next == operations_.end();
    if (idle_) return;
    info(format("requesting device storage info for {} from {} to {}", text(next->device),
                utc(next->start_time), utc(next->end_time)));
    server_.RequestStorageInfo(next->guid, next->device.devices_id, next->device.number, next->start_time,
                               next->end_time);
    next->attempts = static_cast<std::int32_t>(static_cast<std::uint32_t>(next->attempts) + 1);
}

void SimpleEngine::OnStorageInfo(const Guid& guid, std::uint32_t gigabytes) {
    const auto found = find(guid);
    if (found == operations_.end()) return error(format("operation {} not found.", to_string(guid)));
    info(format("requesting disk space reservation of {} GB for operation {} device {}", gigabytes,
                to_string(guid), text(found->device)));
    server_.RequestDiskReservation(guid, gigabytes);
}

void SimpleEngine::OnReservation(Guid guid, const platform::Path& temporary, const platform::Path& output) {
    const auto found = find(guid);
    if (found == operations_.end())
        return error(format("operation {} in disk space response was not found.", to_string(guid)));
    info(format("requesting recordings from {} gap start time{} gap end time {}", text(found->device),
                utc(found->start_time), utc(found->end_time)));
    server_.RequestRecordings(guid, found->device.devices_id, found->device.number, found->start_time,
                              found->end_time, temporary, output);
}

void SimpleEngine::OnClipRetrieved(Guid guid, platform::Path clip_file, std::int32_t clip_type, Ticks start,
                                   Ticks stop, std::int32_t, std::string input_name) {
    const auto found = find(guid);
    if (found == operations_.end()) return;
    server_.ConvertClip(guid, found->device.devices_id, found->device.number, clip_file, input_name, start,
                        stop, clip_type);
}

void SimpleEngine::OnRetrievalDone(Guid guid) {
    const auto found = find(guid);
    if (found == operations_.end()) return info("done signal for unknown operation.");
    info("retrieve operation " + text(*found) + " completed successfully.");
    complete(found);
}

void SimpleEngine::OnRetrievalFailed(Guid guid, std::int32_t error_code, Ticks failed_clip_start) {
    const auto found = find(guid);
    if (found == operations_.end()) return info("operation failed received for unknown operation.");
    error(format("retrieve operation {} completed with error {}", text(*found), error_code));
    found->attempts = static_cast<std::int32_t>(static_cast<std::uint32_t>(found->attempts) + 1);
    if (found->attempts > 2) {
        error("operation " + text(*found) + " exceeded the retry limit.");
        return complete(found);
    }
    found->start_time = failed_clip_start;
    server_.ReleaseDiskReservation(guid);
    start_next();
}

void SimpleEngine::complete(std::vector<Operation>::iterator operation) {
    server_.ReleaseDiskReservation(operation->guid);
    operations_.erase(operation);
    if (!operations_.empty()) return start_next();
    idle_ = true;
    server_.ReportStatus(3, clock_.now());
    info("all operations completed successfully.");
}
