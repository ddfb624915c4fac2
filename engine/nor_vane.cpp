#include "engine/nor_vane.h"

#include <exception>
#include <new>
#include <vector>

#include "engine/log_lines.h"

namespace norvane {
namespace {

/// A loss counts from this long before it was reported: the last moments before it are rarely recorded whole.
constexpr Ticks kLossMargin = 10 * platform::kTicksPerSecond;

DeviceKey device_key(std::int32_t devices_id, std::int32_t device_number) {
    return {static_cast<std::uint32_t>(devices_id), static_cast<std::uint32_t>(device_number)};
}

/// Records of a shutdown and those of a removed device know no channel: they stand for channel 0.
ChannelKey channel_zero(const DeviceKey& device) {
    return {.device_number = device.number, .devices_id = device.devices_id};
}

}  // namespace

CNorVane::CNorVane(ITalServer& server, IPersistentStore& store, const platform::Clock& clock)
    : server_(server), store_(store), clock_(clock) {
    server_.LogInfo(log_lines::kLoading);
    try {
        load_state();
    } catch (const std::bad_alloc&) {
        throw;  // no fault of the file's: an engine without its lists would save over them at its end
    } catch (const std::exception& error) {
        log_error(log_lines::load_failed(error.what()));
    }
}

CNorVane::~CNorVane() {
    try {
        server_.LogInfo(log_lines::kUnloading);
    } catch (...) {  // a line that cannot be sent must not cost the state
    }
    try {
        save_state();
    } catch (...) {  // only memory can be short here, and then there is nobody left to tell
    }
}

/// The file is emptied once it has been read: it holds the lists only from an orderly end to the next start.
void CNorVane::load_state() {
    std::vector<DisconnectRecord> records;
    std::vector<Operation> operations;
    const auto take_over = [&] {
        for (const DisconnectRecord& record : records) disconnects_.append(record);
        for (const Operation& operation : operations) queue_.append(operation);
    };
    try {
        store_.LoadState(records, operations);
    } catch (const std::exception&) {
        take_over();  // what was read before the fault counts
        throw;
    }
    take_over();
    std::vector<DisconnectRecord> none;
    store_.SaveState(none, {});
}

/// A channel that is connected now counts as lost from now on.
void CNorVane::save_state() {
    const Ticks now = store_.CurrentTime();
    std::vector<DisconnectRecord> records(disconnects_.begin(), disconnects_.end());
    for (const DeviceKey& device : queue_.connected_devices()) records.push_back({now, channel_zero(device)});
    try {
        store_.SaveState(records, queue_.operations());
    } catch (const std::exception& error) {
        log_error(log_lines::save_failed(error.what()));
    }
}

void CNorVane::OnDeviceSupported(std::int32_t devices_id, std::int32_t device_number) {
    supported_.insert(device_key(devices_id, device_number));
}

void CNorVane::OnChannelState(const ChannelKey* channel, std::int32_t state, const void* /*unused*/,
                              Ticks time) {
    if (!supported_.contains(channel->device())) return;
    if (const auto lost = disconnects_.first<ByChannel>(*channel)) {
        // A second loss of a lost channel keeps the first one's time.
        if (state == kConnected) channel_returned(*lost, time);
    } else if (state == kDisconnected) {
        channel_lost(*channel, time);
    } else if (state == kConnected) {
        queue_.connect(channel->device());
    }
}

void CNorVane::channel_returned(Sequence<DisconnectRecord, ByChannel>::Position lost, Ticks time) {
    if (queue_.empty()) {
        server_.LogInfo(log_lines::kStarting);
        server_.ReportStarted(clock_.now());
    }
    const DisconnectRecord record = disconnects_.at(lost);
    const Operation operation{.device = record.channel.device(),
                              .guid = server_.GenerateGuid(),
                              .start_time = record.time,
                              .end_time = time};
    log_info(log_lines::creating(operation));
    take_up(operation);
    disconnects_.remove(lost);
    if (idle_) StartNextOperation();
}

/// Appends the operation and connects its device: both or, where memory is short, neither.
void CNorVane::take_up(const Operation& operation) {
    const Position position = queue_.append(operation);
    try {
        queue_.connect(operation.device);
    } catch (...) {
        queue_.remove(position);
        throw;
    }
}

/// The operation that was under way stays where it is; the channel's return will find it in front of its own.
void CNorVane::channel_lost(const ChannelKey& channel, Ticks time) {
    const auto interrupted = queue_.find(channel.device());
    bool is_current = false;
    if (interrupted) {
        const Operation& operation = queue_.at(*interrupted);
        is_current = operation.guid == queue_.current().guid;
        log_info(log_lines::disconnect_during(operation, is_current));
    }
    disconnects_.append({time - kLossMargin, channel});  // first: only this can fail
    queue_.disconnect(channel.device());
    if (is_current) StartNextOperation();
}

void CNorVane::OnDeviceRemoved(std::int32_t devices_id, std::int32_t device_number) {
    const DeviceKey device = device_key(devices_id, device_number);
    supported_.erase(device);
    if (queue_.disconnect(device)) return;
    if (const auto lost = disconnects_.first<ByChannel>(channel_zero(device))) disconnects_.remove(*lost);
}

}  // namespace norvane
