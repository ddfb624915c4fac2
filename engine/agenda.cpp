#include "engine/agenda.h"

namespace norvane {

void Agenda::connect(const DeviceKey& device) {
    connected_.append(device);
    refresh(device);
}

bool Agenda::disconnect(const DeviceKey& device) {
    const auto entry = connected_.first<Itself>(device);
    if (!entry) return false;
    connected_.remove(*entry);
    refresh(device);
    return true;
}

std::vector<DeviceKey> Agenda::connected_devices() const {
    std::vector<DeviceKey> devices;
    for (const auto& [place, device] : connected_) devices.push_back(device);
    return devices;
}

void Agenda::append(const Operation& operation) {
    operations_.append(operation);
    refresh(operation.device);
}

void Agenda::remove(Place place) {
    const DeviceKey device = operations_.at(place).device;
    operations_.remove(place);
    refresh(device);
}

std::optional<Agenda::Place> Agenda::first_startable() const {
    if (startable_.empty()) return std::nullopt;
    return *startable_.begin();
}

std::vector<Operation> Agenda::operations() const {
    std::vector<Operation> all;
    for (const auto& [place, operation] : operations_) all.push_back(operation);
    return all;
}

/// Called after every change that concerns the device: what of it can start is worked out anew.
void Agenda::refresh(const DeviceKey& device) {
    if (const auto before = startable_of_.find(device); before != startable_of_.end()) {
        startable_.erase(before->second);
        startable_of_.erase(before);
    }
    const auto operation = find(device);
    if (!operation || !connected_.first<Itself>(device)) return;
    startable_.insert(*operation);
    startable_of_.emplace(device, *operation);
}

}  // namespace norvane
