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
