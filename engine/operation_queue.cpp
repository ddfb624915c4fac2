#include "engine/operation_queue.h"

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

bool OperationQueue::empty() const noexcept {
    const auto& ranked = operations_.get<kByRank>();
    return ranked.empty() || ranked.begin()->stage == Stage::kNextStart;
}

OperationQueue::Position OperationQueue::append(const OperationState& operation) {
    const auto before = find(operation.device);
    const Position position = operations_.push_back(Entry(operation, next_number_++, false)).first;
    if (!before || (*before)->is_retry) {
        set_startable(before, false);
        set_startable(position, is_connected(operation.device));
    }
    return position;
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
    const auto found = ordered.lower_bound(Entry::DeviceOrder(device, {}));
    if (found == ordered.end() || found->device != device || found->on_hold()) return std::nullopt;
    return operations_.project<0>(found);
}

std::optional<OperationQueue::Position> OperationQueue::first_startable() const {
    const auto& ranked = operations_.get<kByRank>();
    if (ranked.empty() || !ranked.begin()->startable) return std::nullopt;
    return operations_.project<0>(ranked.begin());
}

/// If the operation could start, the device's next one can start now.
template <typename Change>
void OperationQueue::put_on_hold(Position position, Change change) {
    const bool startable = position->startable;
    operations_.modify(position, [&](Entry& entry) {
        entry.startable = false;
        change(entry);
    });
    if (startable) set_startable(find(position->device), true);
}

void OperationQueue::hold(Position position, Ticks end) {
    put_on_hold(position, [end](Entry& entry) {
        entry.stage = Stage::kRetry;
        entry.hold_end = end;
    });
}

void OperationQueue::end_holds(Ticks now) {
    const auto& ranked = operations_.get<kByRank>();
    const auto first = Entry::first_of(Entry::Group::kDelayed);
    for (auto next = ranked.lower_bound(first);
         next != ranked.end() && next->stage == Stage::kRetry && next->hold_end <= now;
         next = ranked.lower_bound(first)) {
        end_hold(operations_.project<0>(next));
    }
}

void OperationQueue::set_failed(Position position, Ticks since) {
    put_on_hold(position, [since](Entry& entry) {
        entry.stage = Stage::kNextStart;
        entry.failure.since = since;
    });
}

std::optional<OperationQueue::Position> OperationQueue::first_failed() const {
    const auto& ranked = operations_.get<kByRank>();
    const auto first = ranked.lower_bound(Entry::first_of(Entry::Group::kFailed));
    if (first == ranked.end()) return std::nullopt;
    return operations_.project<0>(first);
}

void OperationQueue::end_hold(Position position) {
    const DeviceKey device = position->device;
    set_startable(find(device), false);
    operations_.modify(position, [](Entry& entry) {
        entry.stage = Stage::kTurn;
        entry.is_retry = true;
    });
    set_startable(find(device), is_connected(device));
}

void OperationQueue::set_startable(std::optional<Position> position, bool startable) {
    if (position) operations_.modify(*position, [startable](Entry& entry) { entry.startable = startable; });
}

}  // namespace norvane
