#include "engine/operation_queue.h"

#include <limits>

namespace norvane {

void OperationQueue::connect(const DeviceKey& device) {
    connected_.push_back(device);  // first, because only this can fail
    set_startable(find(device), true);
}

bool OperationQueue::disconnect(const DeviceKey& device) {
    const auto entry = find_first<1>(connected_, device);
    if (!entry) return false;
    connected_.erase(*entry);
    set_startable(find(device), is_connected(device));
    return true;
}

std::vector<DeviceKey> OperationQueue::connected_devices() const {
    return {connected_.begin(), connected_.end()};
}

OperationQueue::Position OperationQueue::append(const Operation& operation) {
    const bool startable = is_connected(operation.device) && !find(operation.device);
    return operations_.push_back(Entry(operation, next_number_++, startable)).first;
}

/// If the operation could start, the device's next one can start now.
void OperationQueue::remove(Position position) {
    const DeviceKey device = position->device;
    const bool startable = position->startable;
    operations_.erase(position);
    if (startable) set_startable(find(device), true);
}

std::optional<OperationQueue::Position> OperationQueue::find(const DeviceKey& device) const {
    const auto& ordered = operations_.get<kByDevice>();
    const auto found = ordered.lower_bound(Entry::DeviceOrder(device, false, 0));
    if (found == ordered.end() || found->device != device || found->on_hold) return std::nullopt;
    return operations_.project<0>(found);
}

std::optional<OperationQueue::Position> OperationQueue::first_startable() const {
    const auto& ranked = operations_.get<kByRank>();
    if (ranked.empty() || !ranked.begin()->startable) return std::nullopt;
    return operations_.project<0>(ranked.begin());
}

/// If the operation could start, the device's next one can start now.
void OperationQueue::hold(Position position, Ticks end) {
    const bool startable = position->startable;
    operations_.modify(position, [end](Entry& entry) {
        entry.startable = false;
        entry.on_hold = true;
        entry.hold_end = end;
    });
    if (startable) set_startable(find(position->device), true);
}

void OperationQueue::end_holds(Ticks now) {
    const auto& ranked = operations_.get<kByRank>();
    const Entry::Rank first{Entry::Group::kOnHold, std::numeric_limits<Ticks>::min()};
    for (auto next = ranked.lower_bound(first);
         next != ranked.end() && next->on_hold && next->hold_end <= now; next = ranked.lower_bound(first)) {
        end_hold(operations_.project<0>(next));
    }
}

/// The operation starts before the younger ones of its device.
void OperationQueue::end_hold(Position position) {
    const DeviceKey device = position->device;
    set_startable(find(device), false);
    operations_.modify(position, [](Entry& entry) { entry.on_hold = false; });
    set_startable(find(device), is_connected(device));
}

void OperationQueue::set_startable(std::optional<Position> position, bool startable) {
    if (position) operations_.modify(*position, [startable](Entry& entry) { entry.startable = startable; });
}

}  // namespace norvane
