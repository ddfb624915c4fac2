// Conversations with the built module: messages in, documents out, files on disk.

#include <gtest/gtest.h>

#include "tests/support/fake_host.h"
#include "tests/support/temp_directory.h"

namespace {

class HostMessagesTest : public ::testing::Test {
  protected:
    void start() {
        module.load(FakeHost::callback());
        module.open();
        module.start_main_loop();
        skip();
    }
    void stop() {
        module.close();
        module.join_main_loop();
        module.unload();
    }
    /// Sends a message and waits until it has been processed.
    void send(const std::string& text) {
        const char* buffer = host.lend(text);
        EXPECT_EQ(module.write(buffer, static_cast<std::uint32_t>(text.size())).status, 0);
        ASSERT_TRUE(host.wait_for_releases());
    }
    void skip() { seen_ = host.messages().size(); }
    /// Texts since the last call, without the declaration, one a line.
    std::string sent() {
        std::string lines;
        const auto messages = host.messages();
        for (std::size_t i = seen_; i < messages.size(); ++i) {
            lines += messages[i].text.substr(messages[i].text.find("?>") + 2) + "\n";
        }
        seen_ = messages.size();
        return lines;
    }
    static std::string device(const std::string& attributes, const std::string& inside) {
        return "<Pavo><Devices ID='7'><Device Number='3' " + attributes + ">" + inside +
               "</Device></Devices></Pavo>";
    }
    static std::string channel(int connected, int seconds) {
        return device("NorVaneSupported='1'", "<Codec><Encoder Number='0'><Channel Number='0' Connected='" +
                                                  std::to_string(connected) + "' Time='" +
                                                  std::to_string(seconds) + "'/></Encoder></Codec>");
    }

    WorkingDirectory directory;
    FakeHost host;
    LoadedModule module;

  private:
    std::size_t seen_ = 0;
};

}  // namespace

TEST_F(HostMessagesTest, OpenGapSurvivesARestart) {
    start();
    send(channel(0, 1'010));
    EXPECT_EQ(sent(), "");
    stop();
    EXPECT_EQ(sent(), "<log_msg level=\"25\">NorVane - saving state and unloading.</log_msg>\n");
    start();
    EXPECT_EQ(read_file("norvanepi_state.xml"), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Pavo/>\n");
    send(channel(1, 2'000));
    const std::string lines = sent();
    EXPECT_NE(lines.find("Command=\"1\" Start=\"1000\" Stop=\"2000\""), std::string::npos) << lines;
    stop();
    EXPECT_NE(read_file("norvanepi_state.xml").find("StartTime=\"1000\" EndTime=\"2000\" Attempts=\"1\""),
              std::string::npos);
}

TEST_F(HostMessagesTest, UnreadableGuidIsSilentAndTheWorkerGoesOn) {
    start();
    send(device("", "<Storage GUID='nonsense' RetrievalStatus='3'/>"));
    send(device("", "<Storage GUID='00000000-0000-0000-0000-000000000001' RetrievalStatus='3'/>"));
    EXPECT_EQ(sent(), "<log_msg level=\"25\">NorVane - done signal for unknown operation.</log_msg>\n");
    stop();
}

TEST_F(HostMessagesTest, MessagesGoOutOnTheLoopsThreadInTheOrderTheyWereCaused) {
    start();
    const auto buffers = {channel(0, 1'010), channel(1, 2'000)};
    for (const std::string& text : buffers) {
        EXPECT_EQ(module.control(2, host.lend(text), static_cast<std::uint32_t>(text.size()))[12], 0);
    }
    ASSERT_TRUE(host.wait_for_releases());
    EXPECT_EQ(host.releases(), std::vector<std::string>(buffers));
    const auto messages = host.messages();
    EXPECT_NE(messages.back().thread, std::this_thread::get_id());
    EXPECT_NE(messages.back().text.find("Command=\"1\""), std::string::npos);
    stop();
}
