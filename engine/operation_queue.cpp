#include "engine/operation_queue.h"

#include <utility>

namespace norvane {

void OperationQueue::connect(const DeviceKey& device) {
    std::set<Position> begins;
    if (const auto operation = find(device)) begins.insert(*operation);
    connected_.append(device);
    startable_.merge(begins);
}

bool OperationQueue::disconnect(const DeviceKey& device) {
    const auto entry = connected_.first<Itself>(device);
    if (!entry) return false;
    connected_.remove(*entry);
    if (const auto ends = find(device); ends && !is_connected(device)) startable_.erase(*ends);
    return true;
}

std::vector<DeviceKey> OperationQueue::connected_devices() const {
    return {connected_.begin(), connected_.end()};
}

OperationQueue::Position OperationQueue::append(const Operation& operation) {
    std::set<Position> begins;
    if (is_connected(operation.device) && !find(operation.device)) begins.insert(operations_.next_position());
    const Position position = operations_.append(operation);
    startable_.merge(begins);
    return position;
}

/// The device's next operation takes over the position among the startable ones, and with it the memory for
/// it.
void OperationQueue::remove(Position position) {
    const DeviceKey device = operations_.at(position).device;
    auto startable = startable_.extract(position);
    operations_.remove(position);
    if (startable.empty()) return;
    if (const auto next = find(device)) {
        startable.value() = *next;
        startable_.insert(std::move(startable));
    }
}

std::optional<OperationQueue::Position> OperationQueue::first_startable() const {
    if (startable_.empty()) return std::nullopt;
    return *startable_.begin();
}

std::vector<Operation> OperationQueue::operations() const {
    return {operations_.begin(), operations_.end()};
}

}  // namespace norvane
