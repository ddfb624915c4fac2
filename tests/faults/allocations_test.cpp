// Every allocation fails in turn.

#include "tests/support/allocations.h"

#include <gtest/gtest.h>

#include <iostream>

#include "engine/nor_vane.h"
#include "engine/operation_queue.h"
#include "store/xml_store.h"
#include "tests/faults/retrieval.h"
#include "tests/support/memory_store.h"
#include "tests/support/request_log_server.h"

namespace {

bool inside() {
    return in_module;
}

/// Runs `work` once for each of its allocations, which fails: alone, then together with all later ones.
/// Returns the number of runs.
std::size_t fail_everywhere(const std::function<void(allocations::Fault&)>& work) {
    std::size_t points = 0;
    for (const bool from_then_on : {false, true}) {
        for (std::uint64_t n = 1; !testing::Test::HasFailure(); ++n) {
            SCOPED_TRACE((from_then_on ? "all from allocation " : "allocation ") + std::to_string(n));
            allocations::Fault fault(n, from_then_on, inside);
            work(fault);
            if (!fault.has_failed_one()) break;
            ++points;
        }
    }
    return points;
}

/// Expects valid files after a retrieval with any fault.
void check_files(Retrieval& retrieval) {
    for (const auto& [name, view] : retrieval.recordings()) EXPECT_EQ(view.fault(true), "") << name;
    Retrieval::expect_whole(read_file(Retrieval::kState));
}

constexpr norvane::DeviceKey kOne{7, 3};
constexpr norvane::DeviceKey kOther{7, 4};

/// All observable state of a queue of these devices' operations.
auto state_of(norvane::OperationQueue& queue) {
    std::vector<std::optional<norvane::OperationQueue::Position>> positions{
        queue.first_startable(), queue.find(kOne), queue.find(kOther)};
    for (int guid = 1; guid <= 3; ++guid) positions.push_back(queue.find(RequestLogServer::guid(guid)));
    return std::tuple(positions, queue.operations(), queue.connected_devices());
}

/// A retrieval with these options.
void fail_during_retrieval(const norvane::Options& options) {
    Retrieval(options).run();  // creates what is kept for the life of the process
    const std::size_t points = fail_everywhere([&options](allocations::Fault& fault) {
        const std::int64_t blocks = allocations::live_blocks;
        {
            Retrieval retrieval(options);
            if (retrieval.start()) {
                retrieval.send_all();
                EXPECT_TRUE(!fault.is_over() || retrieval.responds());
                retrieval.end();
            } else {
                EXPECT_EQ(read_file(Retrieval::kState), Retrieval::kOldState);
            }
            check_files(retrieval);
        }
        EXPECT_EQ(allocations::live_blocks.load(), blocks);
    });
    std::cout << "failing allocations of a retrieval: " << points << "\n";
}

}  // namespace

TEST(Allocations, FailureDuringRetrievalLeaksNothingAndKeepsTheWorkerRunning) {
    fail_during_retrieval({});
}

TEST(Allocations, FailureDuringRetrievalWithOptionsLeaksNothingAndKeepsTheWorkerRunning) {
    fail_during_retrieval(norvane::safe_options());
}

/// A request that is reported as failed, then one without an answer, then one with an unusable answer. The
/// operation must be kept as failed, whichever event or pass fails.
TEST(Allocations, FailureDuringRetriesLosesNoOperation) {
    const norvane::Options options{
        .channels = true, .request_timeout = 10, .attempts = true, .retries = 2, .retry_delay = 1};
    const std::size_t points = fail_everywhere([&options](allocations::Fault& fault) {
        const std::int64_t blocks = allocations::live_blocks;
        {
            FakeClock clock;
            RequestLogServer server;
            MemoryStore store;
            const norvane::ChannelKey channel{.device_number = 3, .devices_id = 7};
            const norvane::Guid guid = RequestLogServer::guid(0);
            norvane::CNorVane engine(server, store, clock, options);
            const auto attempt = [&fault](const auto& step) {
                const ModuleScope here(true);
                try {
                    step();
                } catch (const std::bad_alloc&) {
                    const ModuleScope outside(false);
                    EXPECT_TRUE(fault.has_failed_one());
                }
            };
            const auto pass = [&](const auto& event) {
                attempt(event);
                attempt([&] { engine.OnTick(clock.now()); });
            };
            pass([&] { engine.OnDeviceSupported(7, 3); });
            pass([&] { engine.OnChannelState(&channel, norvane::kDisconnected, nullptr, 100); });
            pass([&] { engine.OnChannelState(&channel, norvane::kConnected, nullptr, 200); });
            pass([&] { engine.OnRetrievalFailed(guid, 17, 150); });
            for (int second = 1; second < 100; ++second) {
                clock.set_seconds(second);
                pass([&] {
                    if (second == 30) engine.OnUnusableAnswer(guid, "reason");
                });
            }
            const auto operations = engine.state().operations;
            EXPECT_LE(operations.size(), 1U);
            EXPECT_TRUE(!fault.is_over() || operations.empty() ||
                        operations[0].stage == norvane::Stage::kNextStart);
            EXPECT_TRUE(fault.has_failed_one() || !operations.empty());
        }
        EXPECT_EQ(allocations::live_blocks.load(), blocks);
    });
    std::cout << "failing allocations of retries: " << points << "\n";
}

TEST(Allocations, OperationQueueHasTheStrongExceptionGuarantee) {
    const norvane::Operation operation{.device = kOne, .guid = RequestLogServer::guid(1)};
    const norvane::Operation late{.device = kOther, .guid = RequestLogServer::guid(2)};
    struct Step {
        const char* name;
        std::function<void(norvane::OperationQueue&)> change;
    };
    const std::vector<Step> steps = {
        {"connect before", [&](norvane::OperationQueue& queue) { queue.connect(kOther); }},
        {"connect after", [&](norvane::OperationQueue& queue) { queue.connect(kOne); }},
        {"append a startable operation",
         [&](norvane::OperationQueue& queue) { (void)queue.append(operation); }},
        {"append an operation that waits", [&](norvane::OperationQueue& queue) { (void)queue.append(late); }},
        {"append a second operation of the device",
         [&](norvane::OperationQueue& queue) {
             (void)queue.append({.device = kOne, .guid = RequestLogServer::guid(3)});
         }},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.name);
        for (std::uint64_t n = 1;; ++n) {
            norvane::OperationQueue queue;
            if (step.name != steps[0].name) queue.connect(kOne);
            if (step.name != steps[2].name) (void)queue.append(operation);
            if (step.name == steps[0].name) (void)queue.append(late);
            const auto before = state_of(queue);
            const ModuleScope here(true);
            allocations::Fault fault(n, true, inside);
            try {
                step.change(queue);
            } catch (const std::bad_alloc&) {
                const ModuleScope outside(false);
                EXPECT_EQ(state_of(queue), before);
                continue;
            }
            const ModuleScope outside(false);
            EXPECT_FALSE(fault.has_failed_one());
            EXPECT_NE(state_of(queue), before);
            // Removing needs no memory.
            queue.remove(*queue.find(RequestLogServer::guid(1)));
            EXPECT_FALSE(queue.find(RequestLogServer::guid(1)));
            break;
        }
    }
}

/// With the built module, without and with the safe profile.
class EntryPointAllocations : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(SafeProfile, EntryPointAllocations, testing::Bool());

/// An entry point that runs out of memory reports it and changes nothing.
TEST_P(EntryPointAllocations, FailureIsReportedAndTheNextCallWorks) {
    const std::size_t points = fail_everywhere([](allocations::Fault& fault) {
        const WorkingDirectory directory;
        if (GetParam()) write_file("norvanepi.conf", "profile = safe");
        FakeHost host;
        LoadedModule module;
        const auto succeeds = [](std::size_t status_at, const auto& call) {
            const ModuleScope here(true);
            return call()[status_at] != 0xFF;
        };
        const auto open = [&] { return module.open(); };
        (void)succeeds(8,
                       [&] { return module.load(callback_outside); });  // without it, the others do nothing
        if (!succeeds(8, open)) {
            EXPECT_TRUE(fault.has_failed_one());
            EXPECT_EQ(succeeds(8, open), fault.is_over());
        }
        const char* const queued = host.lend("queued");
        const bool accepted = succeeds(12, [&] { return module.ioctl(2, queued, 6); });
        if (!accepted) host.take_back(queued);
        EXPECT_TRUE(succeeds(8, [&] { return module.close(); }));
        EXPECT_EQ(host.releases().size(), accepted ? 1U : 0U);
        EXPECT_TRUE(succeeds(8, [&] { return module.unload(); }));
    });
    std::cout << "failing allocations at entry points: " << points << "\n";
}
