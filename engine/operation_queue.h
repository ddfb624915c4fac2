#pragma once

#include <boost/multi_index/identity.hpp>
#include <boost/multi_index/mem_fun.hpp>
#include <boost/multi_index/member.hpp>
#include <cstdint>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "engine/indexed_list.h"
#include "plugin/interfaces/records.h"

namespace norvane {

/// The pending operations in the order of their creation, and the connected devices. Both are kept here
/// because an operation can start only while its device is connected. An operation on hold does not start
/// either; the device's next one starts instead.
///
/// append and connect throw std::bad_alloc if memory is short, and then change nothing. No other change
/// allocates.
class OperationQueue {
    struct Entry : Operation {
        Entry(const Operation& operation, std::int64_t sequence_number, bool can_start)
            : Operation(operation), number(sequence_number), startable(can_start) {}

        std::int64_t number;  // grows with each append
        bool startable;       // the first operation of a connected device that is not on hold
        bool on_hold = false;
        Ticks hold_end = 0;

        using DeviceOrder = std::tuple<DeviceKey, bool, std::int64_t>;
        /// Sorts the operations of a device by age, those on hold after the others.
        [[nodiscard]] DeviceOrder device_order() const noexcept { return {device, on_hold, number}; }

        enum class Group : std::uint8_t { kStartable, kOnHold, kOther };
        using Rank = std::pair<Group, std::int64_t>;
        /// Sorts the startable operations to the front, each group by age; those on hold by its end.
        [[nodiscard]] Rank rank() const noexcept {
            if (on_hold) return {Group::kOnHold, hold_end};
            return {startable ? Group::kStartable : Group::kOther, number};
        }
    };
    using Operations =
        IndexedList<Entry, boost::multi_index::member<Operation, Guid, &Operation::guid>,
                    boost::multi_index::const_mem_fun<Entry, Entry::DeviceOrder, &Entry::device_order>,
                    boost::multi_index::const_mem_fun<Entry, Entry::Rank, &Entry::rank>>;
    static constexpr std::size_t kByGuid = 1;
    static constexpr std::size_t kByDevice = 2;
    static constexpr std::size_t kByRank = 3;

  public:
    /// Refers to an operation until it is removed.
    using Position = Operations::iterator;

    /// Adds an entry for the device. A device may have several, one for each report of a connected channel.
    void connect(const DeviceKey& device);
    /// Removes the device's oldest entry. Returns false if it has none.
    bool disconnect(const DeviceKey& device);
    /// All entries in the order of the reports, including repeated ones.
    [[nodiscard]] std::vector<DeviceKey> connected_devices() const;

    [[nodiscard]] bool empty() const noexcept { return operations_.empty(); }
    /// The oldest operation, even if a later one is being retrieved. The queue must not be empty.
    [[nodiscard]] const Operation& current() const { return operations_.front(); }

    Position append(const Operation& operation);
    void remove(Position position);
    [[nodiscard]] const Operation& at(Position position) const { return *position; }
    /// Calls change(Operation&), which must leave the device as it is and must not throw.
    template <typename Change>
    void update(Position position, Change change) {
        operations_.modify(position, change);
    }

    /// The oldest operation with this GUID, or nothing.
    [[nodiscard]] std::optional<Position> find(const Guid& guid) const {
        return find_first<kByGuid>(operations_, guid);
    }
    /// The device's oldest operation that is not on hold, or nothing.
    [[nodiscard]] std::optional<Position> find(const DeviceKey& device) const;
    /// The oldest operation whose device is connected and that is not on hold, or nothing.
    [[nodiscard]] std::optional<Position> first_startable() const;

    /// Puts an operation on hold until end_holds(end) or later. The unit of instants is the caller's.
    void hold(Position position, Ticks end);
    void end_holds(Ticks now);
    [[nodiscard]] bool is_on_hold(Position position) const { return position->on_hold; }

    [[nodiscard]] std::vector<Operation> operations() const {
        return {operations_.begin(), operations_.end()};
    }

  private:
    [[nodiscard]] bool is_connected(const DeviceKey& device) const {
        return find_first<1>(connected_, device).has_value();
    }
    void set_startable(std::optional<Position> position, bool startable);
    void end_hold(Position position);

    Operations operations_;
    std::int64_t next_number_ = 0;
    IndexedList<DeviceKey, boost::multi_index::identity<DeviceKey>> connected_;
};

}  // namespace norvane
