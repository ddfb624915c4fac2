// The eight entry points of the built module, called as a host calls them, with records as bytes.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>

#include "tests/support/fake_host.h"
#include "tests/support/temp_directory.h"

namespace {

namespace hr = host_records;

/// A record in which only these bytes are written.
template <typename Layout>
typename Layout::Bytes written(std::size_t offset, const std::vector<std::uint8_t>& bytes) {
    auto record = host_kit::unwritten<Layout>();
    std::ranges::copy(bytes, record.begin() + static_cast<std::ptrdiff_t>(offset));
    return record;
}

/// A request of the module in which only these bytes are not 0.
hr::HostRequest::Bytes request_of(const std::map<std::size_t, std::uint8_t>& bytes) {
    hr::HostRequest::Bytes request{192, 0, 0, 0, 1};
    request[26] = 0x51;
    for (const auto& [at, byte] : bytes) request[at] = byte;
    return request;
}

const std::vector<std::uint8_t> kZero4{0, 0, 0, 0};
const std::vector<std::uint8_t> kMinus1{0xFF, 0xFF, 0xFF, 0xFF};

class EntryPointsTest : public ::testing::Test {
  protected:
    WorkingDirectory directory;
    FakeHost host;
    LoadedModule module;
};

}  // namespace

TEST_F(EntryPointsTest, LoadWritesItsFieldsAndNoReservedByte) {
    const hr::ModuleInfo::Bytes info = module.load(FakeHost::callback());
    const hr::ModuleInfo::Bytes expected{
        0xA5, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5,  // reserved
        0x00, 0x00, 0x51, 0x00,                          // identifier
        0x10, 0x03, 0x00, 0x08,                          // word12
        0x00, 0x00, 0x00, 0x00,                          // word16
        0x10, 0x00, 0x00, 0x03,                          // word20
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // word24, word28
        0x10, 0x03, 0x00, 0x08,                          // word32
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // word36, word40
        0xA5, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5, 0xA5,  // reserved
        0x01, 0x00, 0x01, 0x01,                          // word52
        0x00, 0x00, 0xA5, 0xA5,                          // half56, reserved
        0x00, 0x00, 0x00, 0x00,                          // word60
    };
    EXPECT_EQ(info, expected);
}

TEST_F(EntryPointsTest, EachCallWritesOnlyItsFields) {
    module.load(FakeHost::callback());
    EXPECT_EQ(module.open(), written<hr::OpenResult>(8, {0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(module.read(), written<hr::ReadResult>(24, kZero4));
    EXPECT_EQ(module.seek(), written<hr::SeekResult>(8, kMinus1));
    EXPECT_EQ(module.ioctl(3), written<hr::IoctlResult>(12, kZero4));
    EXPECT_EQ(module.ioctl(0), written<hr::IoctlResult>(12, kMinus1));
    EXPECT_EQ(module.ioctl(4), written<hr::IoctlResult>(12, kMinus1));
    EXPECT_EQ(module.ioctl(2, host.lend("x"), 1), written<hr::IoctlResult>(12, {0, 0, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(module.close(), written<hr::CloseResult>(8, kZero4));
    EXPECT_EQ(module.unload(), written<hr::CloseResult>(8, kZero4));
}

TEST_F(EntryPointsTest, NullRecordsAreTreatedAsZeros) {
    const host_kit::EntryPoints& all = module.entry_points();
    for (host_kit::EntryPoint* const entry_point :
         {all.load, all.open, all.read, all.write, all.seek, all.ioctl, all.close, all.unload})
        EXPECT_EQ(entry_point(nullptr, nullptr), 0);
}

TEST_F(EntryPointsTest, OpenRegistersOnTheCallersThread) {
    module.load(FakeHost::callback());
    module.open();
    const auto messages = host.messages();
    ASSERT_EQ(messages.size(), 4U);
    EXPECT_NE(messages[0].text.find("reading saved state"), std::string::npos);
    EXPECT_NE(messages[1].text.find("error opening or parsing norvanepi.xml"), std::string::npos);
    EXPECT_EQ(messages[2].message_class, 256U);
    EXPECT_NE(messages[2].text.find("<Modules>"), std::string::npos);
    EXPECT_EQ(messages[3].message_class, 256U);
    EXPECT_EQ(messages[3].text,
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Pavo Delta=\"0\"><Norvane ID=\"5308416\"/></Pavo>");
    for (const auto& message : messages) EXPECT_EQ(message.thread, std::this_thread::get_id());
}

TEST_F(EntryPointsTest, RequestsToTheHostHaveTheDocumentedBytes) {
    module.load(FakeHost::callback());
    module.open();  // the last request was the feature message of 84 characters
    auto request = host.last_request();
    std::fill_n(request.begin() + 16, 8, 0);                                        // the address of the text
    EXPECT_EQ(request, request_of({{8, 85}, {33, 0x01}, {36, 0x10}, {39, 0x01}}));  // class 256
    EXPECT_EQ(host.last_reply(), (hr::HostReply::Bytes{12, 0, 0, 0, 1}));
}

TEST_F(EntryPointsTest, ReleaseRequestContainsOnlyTheBuffer) {
    module.load(FakeHost::callback());
    module.open();
    hr::HostRequest::Bytes request{};
    host.on_call = [&](std::uint32_t message_class, const std::string&) {
        if (message_class == 512) request = host.last_request();
    };
    const char* buffer = host.lend("x");
    module.write(buffer, 1);
    module.close();
    host.on_call = nullptr;
    auto expected = request_of({{33, 0x02}});  // class 512
    std::memcpy(&expected[16], &buffer, 8);
    EXPECT_EQ(request, expected);
}

TEST_F(EntryPointsTest, WriteChecksTheRefusalFlagThenTheModulesIdentifier) {
    module.load(FakeHost::callback());
    const host_kit::Module& calls = module;  // returns whole records
    EXPECT_EQ(calls.write("x", 1, 1), written<hr::WriteResult>(24, kMinus1));
    module.open();
    EXPECT_EQ(calls.write("x", 1, 1), written<hr::WriteResult>(24, kMinus1));
    EXPECT_EQ(calls.write("x", 1, 0, 0x00510000), host_kit::unwritten<hr::WriteResult>());
    EXPECT_EQ(calls.write("x", 1, 1, 0x00510000), written<hr::WriteResult>(24, kMinus1));
    EXPECT_TRUE(host.releases().empty());
}

TEST_F(EntryPointsTest, UnparsableTextsAreReleasedToo) {
    module.begin();
    for (const std::uint32_t length : {0U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(module.write(host.lend("<Pavo/>"), length).count, 1U);
    }
    EXPECT_EQ(module.write(nullptr, 7).status, 0);
    ASSERT_TRUE(host.wait_for_releases());
    module.end();
    EXPECT_EQ(host.releases().size(), 3U);
    EXPECT_EQ(host.wrong_releases(), 1);  // the null text is released too, once
}

TEST(LoadedModuleTest, ModuleCanBeLoadedAndUnloadedRepeatedly) {
    const WorkingDirectory directory;
    FakeHost host;
    for (int round = 0; round < 20; ++round) {
        host_kit::EntryPoint* entry_point = nullptr;
        {
            LoadedModule module;
            entry_point = module.entry_points().load;
            EXPECT_TRUE(host_kit::is_in_memory(entry_point));
            module.begin();
            EXPECT_EQ(module.write(host.lend("<Pavo/>"), 7).status, 0);
            module.end();
        }
        EXPECT_FALSE(host_kit::is_in_memory(entry_point));
    }
    EXPECT_EQ(host.releases().size(), 20U);
}
