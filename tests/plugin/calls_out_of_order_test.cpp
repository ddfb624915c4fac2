// Calls in the wrong order, at the wrong time or from the wrong thread.

#include <gtest/gtest.h>

#include <algorithm>
#include <future>

#include "tests/support/fake_host.h"
#include "tests/support/temp_directory.h"

namespace {

class OutOfOrderTest : public ::testing::Test {
  protected:
    /// Returns after the main loop has processed a message.
    void wait_for_main_loop() {
        EXPECT_EQ(module.write(host.lend("<a/>"), 4).status, 0);
        ASSERT_TRUE(host.wait_for_releases());
    }
    [[nodiscard]] std::size_t count(const std::string& text) {
        std::size_t found = 0;
        for (const auto& message : host.messages())
            found += message.text.find(text) != std::string::npos ? 1U : 0U;
        return found;
    }

    WorkingDirectory directory;
    FakeHost host;
    LoadedModule module;
};

constexpr const char* kLoading = "reading saved state";
constexpr const char* kUnloading = "saving state and unloading";

}  // namespace

TEST_F(OutOfOrderTest, CallsBeforeLoadAndAfterUnloadHaveNoEffect) {
    const auto expect_no_effect = [this] {
        EXPECT_EQ(module.open()[8], 0);
        EXPECT_EQ(module.read()[24], 0);
        EXPECT_EQ(module.seek()[8], 0xFF);
        EXPECT_EQ(module.ioctl(1)[12], 0);  // returns at once
        EXPECT_EQ(module.close()[8], 0);
        EXPECT_EQ(module.unload()[8], 0);
        EXPECT_EQ(module.write("x", 1).status, -1);
        EXPECT_EQ(module.write("x", 1).count, kUnwrittenWord);
        const auto queued = module.ioctl(2, "x", 1);
        EXPECT_EQ(queued[12], 0xFF);
        EXPECT_EQ(queued[16], host_kit::kUnwritten);
    };
    expect_no_effect();
    module.load(FakeHost::callback());
    module.unload();
    expect_no_effect();
    EXPECT_EQ(host.lines(), "");
}

TEST_F(OutOfOrderTest, MessagesAreAcceptedFromOpenToClose) {
    module.load(FakeHost::callback());
    EXPECT_EQ(module.write("x", 1).status, -1);
    // The worker exists before the registration is sent, so that callback may send a message.
    std::int32_t during_start = -1;
    std::int32_t during_registration = -1;
    host.on_call = [&](std::uint32_t, const std::string& text) {
        if (text.find(kLoading) != std::string::npos) during_start = module.write("x", 1).status;
        if (text.find("<Modules>") != std::string::npos) {
            during_registration = module.write(host.lend("in time"), 7).status;
        }
    };
    module.open();
    host.on_call = nullptr;
    EXPECT_EQ(during_start, -1);
    EXPECT_EQ(during_registration, 0);
    module.close();
    EXPECT_EQ(host.releases(), std::vector<std::string>{"in time"});
    EXPECT_EQ(module.write("x", 1).status, -1);
}

TEST_F(OutOfOrderTest, CloseWithoutAMainLoopReturnsAndALateLoopEndsAtOnce) {
    module.load(FakeHost::callback());
    module.open();
    module.write(host.lend("waiting"), 7);
    module.close();
    EXPECT_EQ(host.releases(), std::vector<std::string>{"waiting"});
    EXPECT_EQ(count(kUnloading), 1U);
    EXPECT_EQ(module.ioctl(1)[12], 0);
    module.close();
    EXPECT_EQ(count(kUnloading), 1U);
}

TEST_F(OutOfOrderTest, SecondMainLoopReturnsAtOnce) {
    module.begin();
    wait_for_main_loop();
    EXPECT_EQ(module.ioctl(1)[12], 0);
    module.end();
}

TEST_F(OutOfOrderTest, SecondOpenHasNoEffectAlsoDuringTheFirst) {
    module.load(FakeHost::callback());
    host.on_call = [&](std::uint32_t, const std::string&) { module.open(); };
    module.open();
    host.on_call = nullptr;
    EXPECT_EQ(module.open()[8], 0);
    EXPECT_EQ(count(kLoading), 1U);
    EXPECT_EQ(count("<Modules>"), 1U);
    module.close();
}

TEST_F(OutOfOrderTest, SecondLoadReplacesTheContextUnlessItsLoopIsRunning) {
    module.load(FakeHost::callback());
    module.open();
    module.write(host.lend("waiting"), 7);
    module.load(FakeHost::callback());  // releases and saves, like Unload
    EXPECT_EQ(host.releases(), std::vector<std::string>{"waiting"});
    EXPECT_EQ(count(kUnloading), 1U);
    EXPECT_EQ(module.write("x", 1).status, -1);

    module.open();
    module.start_main_loop();
    wait_for_main_loop();
    module.load(FakeHost::callback());
    wait_for_main_loop();
    EXPECT_EQ(count(kUnloading), 1U);
    module.end();
}

TEST_F(OutOfOrderTest, UnloadWithARunningLoopClosesFirst) {
    module.begin();
    wait_for_main_loop();
    module.unload();
    module.join_main_loop();
    EXPECT_EQ(count(kUnloading), 1U);
    EXPECT_EQ(module.write("x", 1).status, -1);
}

TEST_F(OutOfOrderTest, CloseOnTheLoopsOwnThreadDoesNotWaitForItself) {
    for (const auto how : {&LoadedModule::close, &LoadedModule::unload}) {
        module.begin();
        host.on_call = [&](std::uint32_t message_class, const std::string&) {
            if (message_class == 512) (module.*how)();
        };
        module.write(host.lend("<a/>"), 4);
        module.join_main_loop();  // the worker is destroyed after its pass
        host.on_call = nullptr;
        module.unload();
    }
    EXPECT_EQ(count(kUnloading), 2U);
}

TEST_F(OutOfOrderTest, CloseReleasesQueuedTextsAfterTheLoopHasEnded) {
    std::promise<void> first_is_released;
    std::size_t released_meanwhile = 0;
    host.on_call = [&](std::uint32_t, const std::string& text) {
        if (text != "first") return;
        first_is_released.set_value();
        const char* more = host.lend("more");
        for (; module.write(more, 4).status == 0; more = host.lend("more"))
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        host.take_back(more);  // refused: Close has begun
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        released_meanwhile = host.releases().size();
    };
    module.begin();
    module.write(host.lend("first"), 5);
    first_is_released.get_future().wait();
    module.end();
    EXPECT_EQ(released_meanwhile, 1U);
}

TEST_F(OutOfOrderTest, MessageWakesAWaitingWorker) {
    module.begin();
    std::vector<std::chrono::steady_clock::duration> latencies(9);
    for (auto& latency : latencies) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));  // the worker waits now
        const auto sent = std::chrono::steady_clock::now();
        wait_for_main_loop();
        latency = std::chrono::steady_clock::now() - sent;
    }
    module.end();
    std::ranges::sort(latencies);                            // a busy machine delays some
    EXPECT_LT(latencies[2], std::chrono::milliseconds(50));  // without the notification, 90 ms
}

TEST_F(OutOfOrderTest, WithANullCallbackNothingIsSentAndNothingFails) {
    module.load(nullptr);
    module.open();
    module.start_main_loop();
    EXPECT_EQ(module.write("<a/>", 4).status, 0);
    module.end();
    module.unload();
    EXPECT_EQ(host.lines(), "");
}
