#include "engine/agenda.h"

#include <utility>

namespace norvane {

void Agenda::connect(const DeviceKey& device) {
    std::set<Place> begins;
    if (const auto operation = find(device)) begins.insert(*operation);
    connected_.append(device);
    startable_.merge(begins);
}

bool Agenda::disconnect(const DeviceKey& device) {
    const auto entry = connected_.first<Itself>(device);
    if (!entry) return false;
    connected_.remove(*entry);
    if (const auto ends = find(device); ends && !is_connected(device)) startable_.erase(*ends);
    return true;
}

std::vector<DeviceKey> Agenda::connected_devices() const {
    return {connected_.begin(), connected_.end()};
}

Agenda::Place Agenda::append(const Operation& operation) {
    std::set<Place> begins;
    if (is_connected(operation.device) && !find(operation.device)) begins.insert(operations_.next_place());
    const Place place = operations_.append(operation);
    startable_.merge(begins);
    return place;
}

/// The device's next operation takes over the place among the startable ones, and with it the memory for it.
void Agenda::remove(Place place) {
    const DeviceKey device = operations_.at(place).device;
    auto startable = startable_.extract(place);
    operations_.remove(place);
    if (startable.empty()) return;
    if (const auto next = find(device)) {
        startable.value() = *next;
        startable_.insert(std::move(startable));
    }
}

std::optional<Agenda::Place> Agenda::first_startable() const {
    if (startable_.empty()) return std::nullopt;
    return *startable_.begin();
}

std::vector<Operation> Agenda::operations() const {
    return {operations_.begin(), operations_.end()};
}

}  // namespace norvane
