#pragma once

#include <boost/multi_index/identity.hpp>
#include <boost/multi_index/mem_fun.hpp>
#include <boost/multi_index/member.hpp>
#include <cstdint>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "engine/indexed_list.h"
#include "plugin/interfaces/records.h"

namespace norvane {

/// The pending operations in the order of their creation, and the connected devices. Both are kept here
/// because an operation can start only while its device is connected. An operation on hold, which waits for
/// its retry or has failed, does not start either; the device's next one starts instead.
///
/// append and connect throw std::bad_alloc if memory is short, and then change nothing. No other change
/// allocates.
class OperationQueue {
    struct Entry : OperationState {
        Entry(const OperationState& operation, std::int64_t sequence_number, bool can_start)
            : OperationState(operation), number(sequence_number), startable(can_start) {}

        std::int64_t number;  // grows with each append
        bool startable;       // the first operation of a connected device that is not on hold
        bool is_retry = false;
        Ticks hold_end = 0;  // of the last delay

        [[nodiscard]] bool on_hold() const noexcept {
            return stage == Stage::kRetry || stage == Stage::kNextStart;
        }

        /// Groups of operations in the order of their turn. New ones are sorted by age, retries by the end of
        /// their delay, those that failed by the time of the failure; equal ones by age.
        enum class Group : std::uint8_t { kNew, kRetry, kDelayed, kOther, kFailed };
        using Rank = std::tuple<Group, std::int64_t, std::int64_t>;
        [[nodiscard]] static Rank first_of(Group group) {
            return {group, std::numeric_limits<std::int64_t>::min(), 0};
        }
        [[nodiscard]] Rank rank() const noexcept {
            if (stage == Stage::kRetry) return {Group::kDelayed, hold_end, number};
            if (stage == Stage::kNextStart) return {Group::kFailed, failure.since, number};
            return startable ? turn() : Rank(Group::kOther, 0, number);
        }
        /// A silent device must not delay the new operations of others, so retries follow them.
        [[nodiscard]] Rank turn() const noexcept {
            return is_retry ? Rank(Group::kRetry, hold_end, number) : Rank(Group::kNew, 0, number);
        }

        using DeviceOrder = std::pair<DeviceKey, Rank>;
        /// Sorts the operations of a device by their turn, those on hold after the others.
        [[nodiscard]] DeviceOrder device_order() const noexcept {
            return {device, on_hold() ? Rank(Group::kOther, 0, number) : turn()};
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

    /// True if all operations have failed, or none exists.
    [[nodiscard]] bool empty() const noexcept;
    /// The oldest operation, even if a later one is being retrieved. The queue must not be empty.
    [[nodiscard]] const Operation& current() const { return operations_.front(); }

    /// The operation must not be on hold.
    Position append(const OperationState& operation);
    Position append(const Operation& operation) { return append(OperationState{operation}); }
    void remove(Position position);
    [[nodiscard]] const OperationState& at(Position position) const { return *position; }
    /// Calls change(OperationState&), which must leave the device as it is, must not put the operation on
    /// hold, and must not throw.
    template <typename Change>
    void update(Position position, Change change) {
        operations_.modify(position, change);
    }

    /// The oldest operation with this GUID, or nothing.
    [[nodiscard]] std::optional<Position> find(const Guid& guid) const {
        return find_first<kByGuid>(operations_, guid);
    }
    /// The device's next operation, or nothing: the oldest one, without those on hold.
    [[nodiscard]] std::optional<Position> find(const DeviceKey& device) const;
    /// The next operation of all connected devices, or nothing.
    [[nodiscard]] std::optional<Position> first_startable() const;

    /// Puts an operation on hold until end_holds(end) or later. The caller chooses the clock.
    void hold(Position position, Ticks end);
    void end_holds(Ticks now);
    /// Puts an operation on hold for good.
    void set_failed(Position position, Ticks since);
    [[nodiscard]] bool is_on_hold(Position position) const { return position->on_hold(); }
    /// The operation that failed first, or nothing.
    [[nodiscard]] std::optional<Position> first_failed() const;

    /// Record is Operation or OperationState.
    template <typename Record = Operation>
    [[nodiscard]] std::vector<Record> operations() const {
        return {operations_.begin(), operations_.end()};
    }

  private:
    [[nodiscard]] bool is_connected(const DeviceKey& device) const {
        return find_first<1>(connected_, device).has_value();
    }
    void set_startable(std::optional<Position> position, bool startable);
    template <typename Change>
    void put_on_hold(Position position, Change change);
    void end_hold(Position position);

    Operations operations_;
    std::int64_t next_number_ = 0;
    IndexedList<DeviceKey, boost::multi_index::identity<DeviceKey>> connected_;
};

}  // namespace norvane
