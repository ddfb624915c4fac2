#include "engine/operation_queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/support/request_log_server.h"

namespace {

using norvane::DeviceKey;
using norvane::Operation;
using norvane::OperationQueue;
using Operations = std::vector<Operation>;

/// The first operation that satisfies the predicate.
template <typename Predicate>
std::optional<Operation> scan(const Operations& operations, Predicate predicate) {
    const auto found = std::ranges::find_if(operations, predicate);
    return found == operations.end() ? std::nullopt : std::optional(*found);
}

std::optional<Operation> at(OperationQueue& queue, std::optional<OperationQueue::Position> position) {
    return position ? std::optional(queue.at(*position)) : std::nullopt;
}

}  // namespace

/// Compares the indexes with linear searches of plain arrays after random changes.
TEST(OperationQueueTest, EveryLookupFindsTheFirstMatch) {
    std::mt19937 random(20'260);
    const auto below = [&random](std::uint32_t limit) {
        return static_cast<std::uint32_t>(random() % limit);
    };
    OperationQueue queue;
    Operations operations;
    std::vector<DeviceKey> connected;
    for (int step = 0; step < 20'000 && !HasFailure(); ++step) {
        SCOPED_TRACE(step);
        const DeviceKey device{below(2), below(6)};
        const auto guid = RequestLogServer::guid(static_cast<int>(below(40)));  // with repeats
        const std::uint32_t change = below(5);
        if (change == 0) {
            operations.push_back({.device = device, .guid = guid, .start_time = step});
            queue.append(operations.back());
        } else if (change == 1) {
            if (const auto position = queue.find(guid)) queue.remove(*position);
            const auto found = std::ranges::find(operations, guid, &Operation::guid);
            if (found != operations.end()) operations.erase(found);
        } else if (change == 2) {
            queue.connect(device);
            connected.push_back(device);
        } else {
            const auto found = std::ranges::find(connected, device);
            EXPECT_EQ(queue.disconnect(device), found != connected.end());
            if (found != connected.end()) connected.erase(found);
        }
        const auto can_start = [&](const Operation& o) {
            return std::ranges::count(connected, o.device) > 0;
        };
        const auto has_guid = [&](const Operation& o) { return o.guid == guid; };
        const auto has_device = [&](const Operation& o) { return o.device == device; };
        EXPECT_EQ(at(queue, queue.first_startable()), scan(operations, can_start));
        EXPECT_EQ(at(queue, queue.find(guid)), scan(operations, has_guid));
        EXPECT_EQ(at(queue, queue.find(device)), scan(operations, has_device));
        EXPECT_EQ(queue.empty(), operations.empty());
    }
    EXPECT_EQ(queue.operations(), operations);
    EXPECT_EQ(queue.connected_devices(), connected);
}

/// The same with operations on hold, of which several end at once. Afterwards they are sorted by that time.
TEST(OperationQueueTest, OperationsOnHoldAreSkippedAndThenFollowNewOnes) {
    std::mt19937 random(20'261);
    const auto below = [&random](int limit) { return static_cast<int>(random() % unsigned(limit)); };
    OperationQueue queue;
    struct Entry {
        Operation operation;
        bool on_hold = false;
        norvane::Ticks hold_end = -1;
    };
    std::vector<Entry> entries;
    std::vector<DeviceKey> connected;
    for (int step = 0; step < 20'000 && !HasFailure(); ++step) {
        SCOPED_TRACE(step);
        const DeviceKey device{7, static_cast<std::uint32_t>(below(4))};
        const auto entry = entries.empty() ? entries.end() : entries.begin() + below(int(entries.size()));
        const int change = below(6);
        if (change == 0 && entries.size() < 20) {
            int unused = 0;
            while (queue.find(RequestLogServer::guid(unused))) ++unused;
            entries.push_back({{.device = device, .guid = RequestLogServer::guid(unused)}});
            queue.append(entries.back().operation);
        } else if (change == 1 && entry != entries.end()) {
            queue.remove(*queue.find(entry->operation.guid));
            entries.erase(entry);
        } else if (change == 2) {
            queue.connect(device);
            connected.push_back(device);
        } else if (change == 3) {
            queue.disconnect(device);
            if (const auto found = std::ranges::find(connected, device); found != connected.end())
                connected.erase(found);
        } else if (change == 4 && entry != entries.end()) {
            entry->on_hold = true;
            entry->hold_end = (step + below(50)) * 100'000 + step;  // all different
            queue.hold(*queue.find(entry->operation.guid), entry->hold_end);
        } else {
            queue.end_holds(step * 100'000);
            for (Entry& held : entries) held.on_hold = held.on_hold && held.hold_end > step * 100'000;
        }
        auto sorted = entries;
        std::ranges::stable_sort(sorted, {}, &Entry::hold_end);
        Operations ready;
        for (const Entry& one : sorted) {
            const auto position = queue.find(one.operation.guid);
            ASSERT_TRUE(position);
            EXPECT_EQ(queue.is_on_hold(*position), one.on_hold);
            if (!one.on_hold) ready.push_back(one.operation);
        }
        const auto can_start = [&](const Operation& o) {
            return std::ranges::count(connected, o.device) > 0;
        };
        EXPECT_EQ(at(queue, queue.first_startable()), scan(ready, can_start));
        EXPECT_EQ(at(queue, queue.find(device)),
                  scan(ready, [&](const Operation& o) { return o.device == device; }));
    }
}
