#include "engine/nor_vane.h"

#include <exception>
#include <new>
#include <vector>

#include "engine/log_lines.h"

namespace norvane {
namespace {

DeviceKey device_key(std::int32_t devices_id, std::int32_t device_number) {
    return {static_cast<std::uint32_t>(devices_id), static_cast<std::uint32_t>(device_number)};
}

/// Without the option `channels`, the channel is unknown at shutdown and when a device is removed. Channel 0
/// is used instead.
ChannelKey channel_zero(const DeviceKey& device) {
    return {.device_number = device.number, .devices_id = device.devices_id};
}

}  // namespace

CNorVane::CNorVane(ITalServer& server, IPersistentStore& store, const platform::Clock& clock,
                   const Options& options)
    : server_(server), store_(store), clock_(clock), options_(options) {
    server_.LogInfo(log_lines::kLoading);
    try {
        load_state();
    } catch (const std::bad_alloc&) {
        throw;  // the file may be valid; an engine without its lists would overwrite it at shutdown
    } catch (const std::exception& error) {
        log_error(log_lines::load_failed(error.what()));
    }
}

CNorVane::~CNorVane() {
    try {
        server_.LogInfo(log_lines::kUnloading);
    } catch (...) {  // a failure to log must not prevent saving
    }
    try {
        save_state();
    } catch (...) {  // out of memory, so that it cannot be reported either
    }
}

/// Empties the file after reading it. The file contains the lists only between a shutdown and the next start.
void CNorVane::load_state() {
    EngineState saved;
    const auto adopt = [&] {
        for (const DisconnectRecord& gap : saved.gaps) adopt_gap(gap);
        for (const OperationState& operation : saved.operations) adopt_operation(operation);
    };
    try {
        store_.LoadEngineState(saved);
    } catch (const std::exception&) {
        adopt();  // entries before the fault are valid
        throw;
    }
    adopt();
    EngineState nothing;
    store_.SaveEngineState(nothing);
}

/// With the option `channels`, one gap per channel: the earliest one covers the others.
void CNorVane::adopt_gap(const DisconnectRecord& gap) {
    const auto known = options_.channels ? find_first<1>(disconnects_, gap.channel) : std::nullopt;
    if (!known) {
        disconnects_.push_back(gap);
    } else if (gap.time < (*known)->time) {
        disconnects_.modify(*known, [&](DisconnectRecord& record) { record.time = gap.time; });
    }
}

/// An operation that had failed gets all its retries again, after the operations that had not.
void CNorVane::adopt_operation(OperationState operation) {
    operation.stage = Stage::kTurn;  // requests of the last process have no answer
    if (operation.failure.since == 0) {
        queue_.append(operation);
    } else if (policy_.is_forgotten(operation.failure, clock_.now())) {
        log_error(log_lines::forgotten(operation, options_.failed_for));
    } else {
        operation.attempts = 0;
        queue_.hold(queue_.append(operation), clock_.steady());
    }
}

EngineState CNorVane::state() const {
    return {.gaps = {disconnects_.begin(), disconnects_.end()},
            .operations = queue_.operations<OperationState>(),
            .connected = connected_channels()};
}

/// Each connected channel is saved as disconnected from now on.
void CNorVane::save_state() {
    const Ticks now = store_.CurrentTime();
    EngineState saved = state();
    for (const ChannelKey& channel : saved.connected) saved.gaps.push_back({now, channel});
    try {
        store_.SaveEngineState(saved);
    } catch (const std::exception& error) {
        log_error(log_lines::save_failed(error.what()));
    }
}

std::vector<ChannelKey> CNorVane::connected_channels() const {
    if (options_.channels) return {connected_.begin(), connected_.end()};
    std::vector<ChannelKey> channels;
    for (const DeviceKey& device : queue_.connected_devices()) channels.push_back(channel_zero(device));
    return channels;
}

/// Each connected channel keeps its device connected. With the option `channels`, repeated reports count
/// once. Changes nothing if memory is short.
void CNorVane::connect(const ChannelKey& channel) {
    if (options_.channels && !connected_.insert(channel).second) return;
    try {
        queue_.connect(channel.device());
    } catch (...) {
        connected_.erase(channel);
        throw;
    }
}

void CNorVane::disconnect(const ChannelKey& channel) {
    if (!options_.channels || connected_.erase(channel) != 0) queue_.disconnect(channel.device());
}

void CNorVane::OnDeviceSupported(std::int32_t devices_id, std::int32_t device_number) {
    supported_.insert(device_key(devices_id, device_number));
}

void CNorVane::OnChannelState(const ChannelKey* channel, std::int32_t state, const void* /*unused*/,
                              Ticks time) {
    if (!supported_.contains(channel->device())) return;
    if (const auto gap = find_first<1>(disconnects_, *channel)) {
        // A repeated disconnect keeps the time of the first one.
        if (state == kConnected) connect_channel(*gap, time);
    } else if (state == kDisconnected) {
        disconnect_channel(*channel, time);
    } else if (state == kConnected) {
        connect(*channel);
    }
}

void CNorVane::connect_channel(Disconnects::iterator gap, Ticks time) {
    if (queue_.empty()) {
        server_.LogInfo(log_lines::kStarting);
        server_.ReportStarted(clock_.now());
    }
    const Operation operation{.device = gap->channel.device(),
                              .guid = server_.GenerateGuid(),
                              .start_time = gap->time,
                              .end_time = time};
    log_info(log_lines::creating(operation));
    append_connected(operation, gap->channel);
    disconnects_.erase(gap);
    if (idle_) StartNextOperation();
}

/// Appends the operation and connects its channel. Does neither if memory is short.
void CNorVane::append_connected(const Operation& operation, const ChannelKey& channel) {
    const Position position = queue_.append(operation);
    try {
        connect(channel);
    } catch (...) {
        queue_.remove(position);
        throw;
    }
}

/// An interrupted operation keeps its place in the queue, before the one that the reconnect will create.
void CNorVane::disconnect_channel(const ChannelKey& channel, Ticks time) {
    const auto interrupted = operation_of(channel.device());
    const bool current = interrupted && is_current(*interrupted);
    if (interrupted) log_info(log_lines::disconnect_during(queue_.at(*interrupted), current));
    disconnects_.push_back({time - kGapMargin, channel});  // before disconnect, because only this can fail
    disconnect(channel);
    if (!current) return;
    end_request(*interrupted);
    StartNextOperation();
}

/// The operation that a loss of the device interrupts, or nothing.
std::optional<CNorVane::Position> CNorVane::operation_of(const DeviceKey& device) const {
    if (request_ && queue_.at(request_->operation).device == device) return request_->operation;
    return queue_.find(device);
}

/// By default the oldest operation counts as current, even if another one waits for an answer.
bool CNorVane::is_current(Position position) const {
    if (policy_.follows_requests()) return request_ && request_->operation == position;
    return queue_.at(position).guid == queue_.current().guid;
}

void CNorVane::OnDeviceRemoved(std::int32_t devices_id, std::int32_t device_number) {
    const DeviceKey device = device_key(devices_id, device_number);
    supported_.erase(device);
    if (options_.channels) {
        forget_channels(device);
    } else if (!queue_.disconnect(device)) {
        if (const auto gap = find_first<1>(disconnects_, channel_zero(device))) disconnects_.erase(*gap);
    }
    if (!request_ || queue_.at(request_->operation).device != device) return;
    log_error(log_lines::removed_during(queue_.at(request_->operation)));
    CompleteOperation(request_->operation);
}

/// Removes all gaps and connections of the device.
void CNorVane::forget_channels(const DeviceKey& device) {
    const ChannelKey first = channel_zero(device);
    auto& gaps = disconnects_.get<1>();
    for (auto gap = gaps.lower_bound(first); gap != gaps.end() && gap->channel.device() == device;)
        gap = gaps.erase(gap);
    for (auto channel = connected_.lower_bound(first);
         channel != connected_.end() && channel->device() == device; channel = connected_.erase(channel)) {
        queue_.disconnect(device);
    }
}

}  // namespace norvane
