#include "host/tal_server_impl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <set>
#include <stdexcept>

#include "tests/support/clips.h"
#include "tests/support/fake_time.h"
#include "tests/support/memory_files.h"
#include "tests/support/parsed_recording.h"
#include "tests/support/temp_directory.h"
#include "tests/support/time_zone.h"

namespace {

using ::testing::HasSubstr;

/// The system's error for a directory below a file and with a quote in its name.
#if defined(_WIN32)
constexpr int kNotBelowAFile = 123;  // ERROR_INVALID_NAME
#else
constexpr int kNotBelowAFile = ENOTDIR;
#endif

/// One server with files on the disk and one with files in memory.
class TalServerTest : public ::testing::Test {
  protected:
    [[nodiscard]] std::string sent() { return std::exchange(sent_, {}); }

    void request_recordings(const std::string& temporary, const std::string& output) {
        server.RequestRecordings({}, 7, 3, 0, platform::ticks_of(9), temporary, output);
    }
    static void convert(norvane::CTalServerImpl& on, const std::string& file, std::int32_t type = 1) {
        on.ConvertClip({}, 0x00A10007, 0x103, file, "door", -5, 0, type);
    }
    void send(const tinyxml2::XMLDocument& document, std::uint32_t message_class) {
        const auto* root = document.RootElement();
        sent_ += std::to_string(message_class) + " ";
        if (root == nullptr) {
            sent_ += "nothing";
        } else if (root->Attribute("level") != nullptr) {
            sent_ += std::string(root->Attribute("level")) + " " + root->GetText();
        } else {
            const auto* child = root->FirstChildElement();
            const char* status = child->Attribute("Status");
            sent_ += std::string(child->Name()) + (status == nullptr ? "" : " " + std::string(status));
        }
        sent_ += "\n";
    }

    [[nodiscard]] documents::Send sender() { return std::bind_front(&TalServerTest::send, this); }

    TempDirectory directory;
    MemoryFiles files;
    InstantSleeper sleeper;
    std::string sent_;
    norvane::CTalServerImpl server{sender(), platform::system_files(), sleeper};
    norvane::CTalServerImpl in_memory{sender(), files, sleeper};
};

}  // namespace

TEST_F(TalServerTest, EachRequestHasItsMessageClass) {
    server.RequestStorageInfo({}, 7, 3, 0, 0);
    server.RequestDiskReservation({}, 2);
    server.ReleaseDiskReservation({});
    server.ReportStarted(0);
    server.ReportStatus(3, 0);
    EXPECT_EQ(sent(), "256 Devices\n4 Storage\n4 Storage\n4 NorVane 2\n4 NorVane 3\n");
}

TEST_F(TalServerTest, TemporaryDirectoryIsCreatedWithItsParentsUnlessThePathExists) {
    write_file(directory / "file", "");
    for (const char* path : {"a/b", "a/b", "file"}) {
        request_recordings(directory / path, "o");
        EXPECT_EQ(sent(), "256 Devices\n") << path;
    }
    EXPECT_TRUE(boost::filesystem::is_directory(directory / "a/b"));
}

TEST_F(TalServerTest, IfTheDirectoryCannotBeCreatedAnErrorIsLoggedAndNothingRequested) {
    write_file(directory / "file", "");
    const std::string below = directory / "file/a \"b";
    request_recordings(directory.path(), directory / "first/");
    (void)sent();
    request_recordings(below, "second");
    const std::string not_below_a_file = std::to_string(kNotBelowAFile);
    EXPECT_EQ(sent(), "64 75 Error 'system:" + not_below_a_file + "' trying to create directory '\"" +
                          (directory / "file/a &\"b") + "\"'\n");
    request_recordings("", "second");
    EXPECT_EQ(sent(), "64 75 Error 'generic:22' trying to create directory '\"\"'\n");
    files.directory_error = {EIO, boost::system::system_category()};
    in_memory.RequestRecordings({}, 7, 3, 0, 9, "t", "o");
    EXPECT_EQ(sent(), "64 75 Error 'system:5' trying to create directory '\"t\"'\n");

    // The output directory has not changed.
    write_file(directory / "clip", make_clip(ClipTrack{.samples = {nal("picture")}}));
    convert(server, directory / "clip");
    EXPECT_TRUE(boost::filesystem::is_directory(directory / "first"));
}

TEST_F(TalServerTest, AnErrorInAConversionIsLoggedAndKeepsTheClip) {
    files.put("clip", make_clip(ClipTrack{.samples = {nal("picture")}}));
    const std::pair<std::function<void()>, std::string> errors[] = {
        {[] { throw std::runtime_error("no memory"); }, "no memory"}, {[] { throw 17; }, "unknown"}};
    for (const auto& [error, name] : errors) {
        files.note = [&error = error](const std::string&) { error(); };
        convert(in_memory, "clip");
        EXPECT_TRUE(sent().ends_with("64 75 NorVane - Error '" + name + "' while converting clip.\n"));
        EXPECT_TRUE(files.has("clip"));
    }
}

TEST_F(TalServerTest, TheTypeOfAClipIsInItsRecording) {
    const TimeZone utc("UTC0");
    std::string created;
    files.note = [&created](const std::string& what) {
        created = what.ends_with(".ps") ? what.substr(7) : created;
    };
    for (const auto& [type, mark] : {std::pair{1, 0x80U}, {3, 0x40U}, {2, 0U}}) {
        files.put("clip", make_clip(ClipTrack{.samples = {nal("picture")}}));
        convert(in_memory, "clip", type);
        EXPECT_NE(sent().find("64 25 Opened (and PSI) "), std::string::npos);
        EXPECT_EQ(created, "1970/01/01/00/0000-00A10380e.ps");  // 5 ticks before 1970 are 0 seconds
        const ParsedRecording recording(files.at(created), files.at(created + "i"));
        EXPECT_EQ(recording.spans.at(0).kind & 0xC0U, mark);
    }
}

TEST_F(TalServerTest, OptionsAddASeparatorAndEscapeLogLines) {
    const auto lines_of = [this](const norvane::Options& options, const std::string& output) {
        norvane::CTalServerImpl with_options{sender(), files, sleeper, options};
        with_options.RequestRecordings({}, 7, 3, 0, 9, "t", output);
        files.put("clip\xA9\x01", make_clip(ClipTrack{.samples = {nal("picture")}}));
        (void)sent();
        convert(with_options, "clip\xA9\x01");
        return sent();
    };
    const TimeZone utc("UTC0");
    norvane::Options options;
    EXPECT_THAT(lines_of(options, "out"), HasSubstr("PSI) out1970/"));
    EXPECT_THAT(lines_of(options, "out"), HasSubstr("container - clip\xA9\x01."));
    options.directory_separator = true;
    EXPECT_THAT(lines_of(options, "out"), HasSubstr("PSI) out/1970/"));
    EXPECT_THAT(lines_of(options, "out/"), HasSubstr("PSI) out/1970/"));
    EXPECT_THAT(lines_of(options, ""), HasSubstr("PSI) 1970/"));
    options.well_formed_log = true;
    EXPECT_THAT(lines_of(options, "out"), HasSubstr("container - clip\\xA9\\x01."));
}

TEST_F(TalServerTest, OptionsReachTheConversion) {
    norvane::CTalServerImpl all_clips{sender(), files, sleeper, norvane::Options{.all_clips = true}};
    for (norvane::CTalServerImpl* on : {&in_memory, &all_clips}) {
        files.put("clip", make_clip(ClipTrack{.samples = {nal("picture")}, .format = "hvc1"}));
        convert(*on, "clip");
        EXPECT_EQ(sent().find("contains hvc1") != std::string::npos, on == &all_clips);
    }
}

TEST_F(TalServerTest, GuidsAreRandomAndOfVersion4) {
    std::set<norvane::Guid> guids;
    std::array<std::uint8_t, 16> ones{};  // bits that were set at least once
    for (int i = 0; i < 100; ++i) {
        const norvane::Guid guid = server.GenerateGuid();
        EXPECT_EQ(guid.version(), norvane::Guid::version_random_number_based);
        EXPECT_EQ(guid.variant(), norvane::Guid::variant_rfc_4122);
        guids.insert(guid);
        for (std::size_t at = 0; at < ones.size(); ++at) ones[at] |= guid.data[at];
    }
    EXPECT_EQ(guids.size(), 100U);
    for (std::size_t at = 0; at < ones.size(); ++at)
        EXPECT_EQ(ones[at], at == 6 ? 0x4F : at == 8 ? 0xBF : 0xFF) << at;
}
