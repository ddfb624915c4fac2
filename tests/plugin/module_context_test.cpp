#include "plugin/module_context.h"

#include <gtest/gtest.h>

#include "plugin/send_to_host.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_time.h"
#include "tests/support/temp_directory.h"

namespace {

/// Calls the test instead of sleeping, and records each call.
class ScriptedSleeper final : public platform::Sleeper {
  public:
    void sleep(std::chrono::milliseconds duration) override {
        calls += "sleep " + std::to_string(duration.count()) + "\n";
        on_sleep();
    }
    bool wait_for(std::condition_variable& /*condition*/, std::unique_lock<std::mutex>& lock,
                  std::chrono::milliseconds /*duration*/, const std::function<bool()>& /*ready*/) override {
        calls += "pass\n";
        lock.unlock();
        on_pass();
        lock.lock();
        return true;
    }

    std::function<void()> on_sleep;
    std::function<void()> on_pass;
    std::string calls;
};

/// A context with a fake host and no real time.
class ModuleContextTest : public ::testing::Test {
  protected:
    ModuleContextTest() { set_host_callback(FakeHost::callback()); }
    ~ModuleContextTest() override { set_host_callback(nullptr); }

    WorkingDirectory directory;
    FakeHost host;
    FakeClock clock;
    ScriptedSleeper sleeper;
    ModuleContext context{{platform::system_files(), sleeper, clock}};
};

}  // namespace

TEST_F(ModuleContextTest, MainLoopIdlesDuringTheStartUpMessages) {
    sleeper.on_sleep = sleeper.on_pass = [this] { context.close(); };
    host.on_call = [this](std::uint32_t message_class, const std::string&) {
        if (message_class == 256) context.run_main_loop();
    };
    context.open();
    EXPECT_EQ(sleeper.calls, "sleep 1000\n");
}

TEST_F(ModuleContextTest, MainLoopIdlesUntilOpenAndContinuesAfterAFailedPass) {
    // One action per sleep, from the last to the first.
    std::vector<std::function<void()>> actions = {[&] { context.close(); }, [&] { context.open(); }, [] {}};
    sleeper.on_sleep = [&] {
        const auto next = actions.back();
        actions.pop_back();
        next();
    };
    bool first = true;
    sleeper.on_pass = [&first] {
        if (!std::exchange(first, false)) throw std::bad_alloc();
    };
    context.run_main_loop();
    EXPECT_EQ(sleeper.calls, "sleep 1000\nsleep 1000\npass\npass\nsleep 100\n");
    EXPECT_NE(host.lines().find("saving state"), std::string::npos);
}
