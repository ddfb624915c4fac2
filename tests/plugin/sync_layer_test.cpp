#include "plugin/sync_layer.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "plugin/send_to_host.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_time.h"
#include "tests/support/host_messages.h"
#include "tests/support/temp_directory.h"

namespace {

/// The worker with its real components, a fake host and no real time.
class SyncLayerTest : public ::testing::Test {
  protected:
    SyncLayerTest() {
        set_host_callback(FakeHost::callback());
        worker = std::make_unique<SyncLayer>(platform::System{platform::system_files(), sleeper, clock});
        start_ = host.lines().size();
    }
    ~SyncLayerTest() override {
        host.on_call = nullptr;  // it may refer to variables of the test
        worker.reset();
        set_host_callback(nullptr);
    }

    bool append(const std::string& text) {
        const StreamRecord message = host.lend_message(text);
        const bool taken = worker->append(message);
        if (!taken) host.take_back(message.text);
        return taken;
    }
    [[nodiscard]] std::string lines() { return host.lines().substr(start_); }

    WorkingDirectory directory;
    FakeHost host;
    InstantSleeper sleeper;
    FakeClock clock;
    std::unique_ptr<SyncLayer> worker;

  private:
    std::size_t start_ = 0;
};

std::string log_line(int level, const std::string& text) {
    return "64 <?xml version=\"1.0\" encoding=\"UTF-8\"?><log_msg level=\"" + std::to_string(level) + "\">" +
           text + "</log_msg>\n";
}

/// A message that the engine answers with one log line.
std::string done(const std::string& guid_end) {
    return retrieval_done("00000000-0000-0000-0000-00000000000" + guid_end);
}
const std::string kUnknownDone = log_line(25, "NorVane - done signal for unknown operation.");

}  // namespace

TEST_F(SyncLayerTest, MessagesAreProcessedInOrderAndEachIsReleasedAfterwards) {
    std::vector<std::string> events;
    host.on_call = [&events](std::uint32_t message_class, const std::string& text) {
        events.push_back(message_class == 512 ? "release " + text.substr(0, 1) : "line");
    };
    ASSERT_TRUE(append(done("1")));
    ASSERT_TRUE(append("not XML"));
    ASSERT_TRUE(append(done("2")));
    worker->run();
    EXPECT_EQ(events, (std::vector<std::string>{"line", "release <", "release n", "line", "release <"}));
    EXPECT_EQ(lines(), kUnknownDone + kUnknownDone);
}

TEST_F(SyncLayerTest, PassWaits100MillisecondsOnlyIfTheQueueIsEmpty) {
    worker->run();
    EXPECT_EQ(sleeper.waits, 1);
    EXPECT_EQ(sleeper.waited.count(), 100);
    ASSERT_TRUE(append(done("1")));
    worker->run();
    worker->stop();
    worker->run();
    EXPECT_EQ(sleeper.waits, 1);
}

TEST_F(SyncLayerTest, AfterStopMessagesAreRefusedAndQueuedOnesReleasedUnprocessed) {
    ASSERT_TRUE(append(done("1")));
    ASSERT_TRUE(append(done("2")));
    worker->stop();
    EXPECT_TRUE(host.releases().empty());
    EXPECT_FALSE(append(done("3")));
    worker->run();
    EXPECT_EQ(host.releases(), (std::vector{done("1"), done("2")}));
    EXPECT_EQ(lines(), "");
}

TEST_F(SyncLayerTest, StopDuringAPassReleasesTheRestInOrder) {
    host.on_call = [this](std::uint32_t message_class, const std::string&) {
        if (message_class == 64) worker->stop();
    };
    for (const char* end : {"1", "2", "3"}) ASSERT_TRUE(append(done(end)));
    worker->run();
    EXPECT_EQ(lines(), kUnknownDone);
    EXPECT_EQ(host.releases(), (std::vector{done("1"), done("2"), done("3")}));
}

TEST_F(SyncLayerTest, HostMayQueueMessagesInsideItsCallback) {
    bool once = true;
    host.on_call = [&](std::uint32_t, const std::string&) {
        if (std::exchange(once, false)) {
            EXPECT_TRUE(append(done("2")));
        }
    };
    ASSERT_TRUE(append(done("1")));
    worker->run();
    worker->run();
    EXPECT_EQ(lines(), kUnknownDone + kUnknownDone);
}

TEST_F(SyncLayerTest, FailedReleaseIsReportedOnce) {
    host.release_returns = 5;
    host.release_result = 7;
    ASSERT_TRUE(append("x"));
    worker->run();
    EXPECT_EQ(lines(), log_line(25, "Decrement reference event returned : 5 error : 7\n"));
    host.release_returns = 0;
    host.release_result = 0xFFFFFFFF;
    ASSERT_TRUE(append("y"));
    worker->run();
    EXPECT_NE(lines().find("returned : 0 error : -1\n"), std::string::npos);
}

TEST_F(SyncLayerTest, ExceptionDropsOnlyItsMessage) {
    int left = 2;
    host.on_call = [&left](std::uint32_t message_class, const std::string& text) {
        if (message_class != 64 || text.find("done signal") == std::string::npos) return;
        if (left == 2) throw std::runtime_error((--left, "host trouble"));
        if (left == 1) throw static_cast<int>(--left);
    };
    for (const char* end : {"1", "2", "3"}) ASSERT_TRUE(append(done(end)));
    worker->run();
    EXPECT_EQ(lines(),
              kUnknownDone + log_line(75, "NorVane - Error 'host trouble' while handling a host message.") +
                  kUnknownDone + log_line(75, "NorVane - Error 'unknown' while handling a host message.") +
                  kUnknownDone);
    EXPECT_EQ(host.releases().size(), 3U);
}

TEST_F(SyncLayerTest, DestructorSavesTheStateAndReleasesQueuedMessages) {
    ASSERT_TRUE(append(about_channel(false, 1'010)));
    worker->run();
    ASSERT_TRUE(append("never processed"));
    worker.reset();
    EXPECT_EQ(lines(), log_line(25, "NorVane - saving state and unloading."));
    EXPECT_NE(read_file("norvanepi_state.xml").find("<Device Number=\"3\" DisconnectTime=\"1000\"/>"),
              std::string::npos);
}

/// What arrived before the pass is processed before the time is looked at.
TEST_F(SyncLayerTest, PassesFindUnansweredRequestsOnlyWithTheOption) {
    const auto lose_and_return = [this] {
        ASSERT_TRUE(append(about_channel(false, 1'010)));
        ASSERT_TRUE(append(about_channel(true, 1'300)));
        worker->run();
        clock.set_seconds(platform::seconds_of(clock.now()) + 600);
        worker->run();
    };
    lose_and_return();
    EXPECT_EQ(lines().find("no answer"), std::string::npos);
    worker.reset();
    remove("norvanepi_state.xml");
    worker = std::make_unique<SyncLayer>(platform::System{platform::system_files(), sleeper, clock},
                                         norvane::Options{.request_timeout = 600});
    lose_and_return();
    EXPECT_NE(lines().find(" within 600 s.</log_msg>"), std::string::npos) << lines();
    host.on_call = [](std::uint32_t message_class, const std::string&) {
        if (message_class == 256) throw std::runtime_error("host trouble");
    };
    worker->run();
    EXPECT_NE(lines().find("NorVane - Error 'host trouble' while looking for unanswered requests."),
              std::string::npos);
}

TEST_F(SyncLayerTest, AJournalThatCannotBeWrittenAndAHostThatThrowsEndNothing) {
    boost::filesystem::create_directory("norvanepi_journal");
    worker = std::make_unique<SyncLayer>(platform::System{platform::system_files(), sleeper, clock},
                                         norvane::Options{.journal = true});
    int calls = 0;
    host.on_call = [&calls](std::uint32_t message_class, const std::string&) {
        if (message_class == 64 && ++calls == 1) throw 17;
    };
    worker->run();
    EXPECT_GE(calls, 1);
    ASSERT_TRUE(append(done("1")));
    worker->run();
    EXPECT_NE(lines().find(kUnknownDone), std::string::npos);
}
