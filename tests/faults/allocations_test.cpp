// Memory runs out at every allocation in turn.

#include "tests/support/allocations.h"

#include <gtest/gtest.h>

#include <iostream>

#include "engine/operation_queue.h"
#include "store/xml_store.h"
#include "tests/faults/retrieval.h"
#include "tests/support/recording_server.h"

namespace {

bool inside() {
    return in_module;
}

/// Lets every allocation of the work fail in turn, once and from then on, until one run needs none. Gives the
/// count.
std::size_t fail_everywhere(bool (*counts)(), const std::function<void(allocations::Fault&)>& work) {
    std::size_t points = 0;
    for (const bool from_then_on : {false, true}) {
        for (std::uint64_t n = 1; !testing::Test::HasFailure(); ++n) {
            SCOPED_TRACE((from_then_on ? "from then on, allocation " : "allocation ") + std::to_string(n));
            allocations::Fault fault(n, from_then_on, counts);
            work(fault);
            if (!fault.has_struck()) break;
            ++points;
        }
    }
    return points;
}

/// What has to hold of the files of a retrieval, whatever was lost.
void look_at_files(Retrieval& retrieval) {
    for (const auto& [name, view] : retrieval.recordings()) EXPECT_EQ(view.fault(true), "") << name;
    Retrieval::expect_whole(read_file(Retrieval::kState));
}

constexpr norvane::DeviceKey kOne{7, 3};
constexpr norvane::DeviceKey kOther{7, 4};

/// All that a queue of these devices' operations can be asked.
auto answers(norvane::OperationQueue& queue) {
    std::vector<std::optional<norvane::OperationQueue::Position>> positions{
        queue.first_startable(), queue.find(kOne), queue.find(kOther)};
    for (int guid = 1; guid <= 3; ++guid) positions.push_back(queue.find(RecordingServer::guid(guid)));
    return std::tuple(positions, queue.operations(), queue.connected_devices());
}

}  // namespace

TEST(Allocations, WholeRetrievalLosesNoBufferNoBlockAndNoWorker) {
    Retrieval().run();  // what is made once and kept is there now
    const std::size_t points = fail_everywhere(inside, [](allocations::Fault& fault) {
        const std::int64_t blocks = allocations::live_blocks();
        {
            Retrieval retrieval;
            if (retrieval.start()) {
                retrieval.talk();
                EXPECT_TRUE(!fault.is_over() || retrieval.is_alive());
                retrieval.end();
            } else {
                EXPECT_EQ(read_file(Retrieval::kState), Retrieval::kOldState);
            }
            look_at_files(retrieval);
        }
        EXPECT_EQ(allocations::live_blocks(), blocks);
    });
    std::cout << "failing allocations of a retrieval: " << points << "\n";
}

TEST(Allocations, OperationQueueChangesWholeOrNotAtAll) {
    const norvane::Operation operation{.device = kOne, .guid = RecordingServer::guid(1)};
    const norvane::Operation late{.device = kOther, .guid = RecordingServer::guid(2)};
    struct Step {
        const char* name;
        std::function<void(norvane::OperationQueue&)> change;
    };
    const std::vector<Step> steps = {
        {"connect before", [&](norvane::OperationQueue& queue) { queue.connect(kOther); }},
        {"connect behind", [&](norvane::OperationQueue& queue) { queue.connect(kOne); }},
        {"append a startable one", [&](norvane::OperationQueue& queue) { (void)queue.append(operation); }},
        {"append one that waits", [&](norvane::OperationQueue& queue) { (void)queue.append(late); }},
        {"append a second one",
         [&](norvane::OperationQueue& queue) {
             (void)queue.append({.device = kOne, .guid = RecordingServer::guid(3)});
         }},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.name);
        for (std::uint64_t n = 1;; ++n) {
            norvane::OperationQueue queue;
            if (step.name != steps[0].name) queue.connect(kOne);
            if (step.name != steps[2].name) (void)queue.append(operation);
            if (step.name == steps[0].name) (void)queue.append(late);
            const auto before = answers(queue);
            const Inside here(true);
            allocations::Fault fault(n, true, inside);
            try {
                step.change(queue);
            } catch (const std::bad_alloc&) {
                const Inside outside(false);
                EXPECT_EQ(answers(queue), before);
                continue;
            }
            const Inside outside(false);
            EXPECT_FALSE(fault.has_struck());
            EXPECT_NE(answers(queue), before);
            // What takes away needs no memory at all.
            queue.remove(*queue.find(RecordingServer::guid(1)));
            EXPECT_FALSE(queue.find(RecordingServer::guid(1)));
            break;
        }
    }
}

/// Through the built module: what an entry point cannot do for want of memory it says, and does not do by
/// halves.
TEST(Allocations, EntryPointsSayThatTheyFailedAndWorkAgain) {
    const std::size_t points = fail_everywhere(inside, [](allocations::Fault& fault) {
        const WorkingDirectory directory;
        FakeHost host;
        LoadedModule module;
        const auto succeeds = [](std::size_t status_at, const auto& call) {
            const Inside here(true);
            return call()[status_at] != 0xFF;
        };
        const auto open = [&] { return module.open(); };
        (void)succeeds(8, [&] { return module.load(callback_outside); });  // without it the others do nothing
        if (!succeeds(8, open)) {
            EXPECT_TRUE(fault.has_struck());
            EXPECT_EQ(succeeds(8, open), fault.is_over());
        }
        const char* const queued = host.lend("queued");
        const bool taken = succeeds(12, [&] { return module.ioctl(2, queued, 6); });
        if (!taken) host.take_back(queued);
        EXPECT_TRUE(succeeds(8, [&] { return module.close(); }));
        EXPECT_EQ(host.releases().size(), taken ? 1U : 0U);
        EXPECT_TRUE(succeeds(8, [&] { return module.unload(); }));
    });
    std::cout << "failing allocations at entry points: " << points << "\n";
}
