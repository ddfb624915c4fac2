#pragma once

#include <optional>
#include <set>
#include <vector>

#include "engine/sequence.h"
#include "plugin/interfaces/records.h"

namespace norvane {

/// The operations still to be done, in the order they were created, and the connected devices that they wait
/// for. Both stand together because of the one question that joins them: which operation can start?
///
/// Only what adds something needs memory. Where there is none it throws and has changed nothing.
class OperationQueue {
    struct ByGuid {
        Guid operator()(const Operation& operation) const { return operation.guid; }
    };
    struct ByDevice {
        DeviceKey operator()(const Operation& operation) const { return operation.device; }
    };
    struct Itself {
        DeviceKey operator()(const DeviceKey& device) const { return device; }
    };
    using Operations = Sequence<Operation, ByGuid, ByDevice>;

  public:
    using Position = Operations::Position;

    /// Adds one entry for the device, whether or not there is one already: each report of a channel counts.
    void connect(const DeviceKey& device);
    /// Removes the device's first entry; false when there is none.
    bool disconnect(const DeviceKey& device);
    /// Every entry in the order of the reports, repeats included.
    [[nodiscard]] std::vector<DeviceKey> connected_devices() const;

    [[nodiscard]] bool empty() const noexcept { return operations_.empty(); }
    /// The current operation: the first one, even when a later one is being worked on. Not for an empty
    /// queue.
    [[nodiscard]] const Operation& current() const { return operations_.front(); }

    Position append(const Operation& operation);
    void remove(Position position);
    /// Device and GUID of what it returns must not be changed.
    [[nodiscard]] Operation& at(Position position) { return operations_.at(position); }

    [[nodiscard]] std::optional<Position> find(const Guid& guid) const {
        return operations_.first<ByGuid>(guid);
    }
    [[nodiscard]] std::optional<Position> find(const DeviceKey& device) const {
        return operations_.first<ByDevice>(device);
    }
    /// The first operation whose device is connected.
    [[nodiscard]] std::optional<Position> first_startable() const;

    [[nodiscard]] std::vector<Operation> operations() const;

  private:
    [[nodiscard]] bool is_connected(const DeviceKey& device) const {
        return connected_.first<Itself>(device).has_value();
    }

    Operations operations_;
    Sequence<DeviceKey, Itself> connected_;
    // The first operation of every connected device that has one.
    std::set<Position> startable_;
};

}  // namespace norvane
