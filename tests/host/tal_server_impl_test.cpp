#include "host/tal_server_impl.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <stdexcept>

#include "tests/support/clip_builder.h"
#include "tests/support/fake_time.h"
#include "tests/support/recording_view.h"
#include "tests/support/temp_directory.h"

namespace {

/// The system's files, but opening a clip throws what the test says.
class ThrowingFiles final : public platform::FileSystem {
  public:
    std::unique_ptr<platform::InputFile> open_input(const std::string& path) override {
        if (throw_on_open) throw_on_open();
        return real_.open_input(path);
    }
    std::unique_ptr<platform::DataFile> create_data(const std::string& path) override {
        return real_.create_data(path);
    }
    std::unique_ptr<platform::IndexFile> create_index(const std::string& path) override {
        return real_.create_index(path);
    }
    bool remove_file(const std::string& path) override { return real_.remove_file(path); }
    boost::system::error_code make_directory(const std::string& path, Existing enough) override {
        if (query_fails) return {EIO, boost::system::system_category()};
        return real_.make_directory(path, enough);
    }
    std::optional<std::string> read_whole(const std::string& path) override { return real_.read_whole(path); }
    bool replace_whole(const std::string& path, std::string_view content) override {
        return real_.replace_whole(path, content);
    }

    std::function<void()> throw_on_open;
    bool query_fails = false;

  private:
    platform::FileSystem& real_ = platform::system_files();
};

class TalServerTest : public ::testing::Test {
  protected:
    [[nodiscard]] std::string sent() { return std::exchange(sent_, {}); }

    void request_recordings(const std::string& temporary, const std::string& output) {
        server.RequestRecordings({}, 7, 3, 0, platform::ticks_of(9), temporary, output);
    }
    void convert(const std::string& file, std::int32_t type) {
        server.ConvertClip({}, 0x00A10007, 0x103, file, "door", -5, 0, type);
    }

    TempDirectory directory;
    ThrowingFiles files;
    NoWaits waits;
    std::string sent_;
    norvane::CTalServerImpl server{
        [this](const tinyxml2::XMLDocument& document, std::uint32_t message_class) {
            const auto* log = document.FirstChildElement("log_msg");
            sent_ += std::to_string(message_class);
            if (log != nullptr) {
                sent_ += " " + std::string(log->Attribute("level")) + " " + log->GetText();
            }
            sent_ += "\n";
        },
        files, waits};
};

}  // namespace

TEST_F(TalServerTest, ReservationsGoToTheOneWhoKeepsTheSpace) {
    server.RequestDiskReservation({}, 2);
    server.ReleaseDiskReservation({});
    EXPECT_EQ(sent(), "4\n4\n");
}

TEST_F(TalServerTest, TemporaryDirectoryIsMadeWithItsParents) {
    const std::string deep = directory / "a/b";
    request_recordings(deep, "o");
    EXPECT_EQ(sent(), "256\n");
    EXPECT_TRUE(boost::filesystem::is_directory(deep));
    request_recordings(deep, "o");
    EXPECT_EQ(sent(), "256\n");
}

TEST_F(TalServerTest, ExistingPathIsUsedWhateverItIs) {
    write_file(directory / "file", "");
    request_recordings(directory / "file", "o");
    EXPECT_EQ(sent(), "256\n");
}

TEST_F(TalServerTest, DirectoryThatCannotBeMadeIsOneErrorAndNoRequest) {
    write_file(directory / "file", "");
    const std::string below = directory / "file/a \"b";
    request_recordings(directory.path(), directory / "first/");
    (void)sent();
    request_recordings(below, "second");
    EXPECT_EQ(sent(), "64 75 Error 'system:20' trying to create directory '\"" + (directory / "file/a &\"b") +
                          "\"'\n");
    request_recordings("", "second");
    EXPECT_EQ(sent(), "64 75 Error 'generic:22' trying to create directory '\"\"'\n");
    files.query_fails = true;
    request_recordings(directory.path(), "second");
    EXPECT_EQ(sent(), "64 75 Error 'system:5' trying to create directory '\"" + directory.path() + "\"'\n");

    // The output directory is still the first one.
    files.query_fails = false;
    write_file(directory / "clip", "no clip");
    convert(directory / "clip", 1);
    EXPECT_EQ(sent(), "64 75 Unsupported file format - " + (directory / "clip") + ".\n\n");
}

TEST_F(TalServerTest, ErrorsOfAConversionEndTheClipWithALineAndLeaveTheSource) {
    const std::string clip = directory / "clip";
    write_file(clip, "anything");
    files.throw_on_open = [] { throw std::runtime_error("no memory"); };
    convert(clip, 1);
    EXPECT_EQ(sent(), "64 75 NorVane - Error 'no memory' while converting " + clip + ".\n");
    files.throw_on_open = [] { throw 17; };
    convert(clip, 1);
    EXPECT_EQ(sent(), "64 75 NorVane - Error 'unknown' while converting " + clip + ".\n");
    EXPECT_EQ(read_file(clip), "anything");
}

TEST_F(TalServerTest, TypeOfAClipMarksItsRecording) {
    namespace fs = boost::filesystem;
    for (const auto& [type, mark] : {std::pair{1, 0x80U}, {3, 0x40U}, {2, 0U}}) {
        const std::string output = directory / std::to_string(type) + "/";
        request_recordings(directory / "tmp", output);
        write_file(directory / "clip", make_clip(ClipTrack{.samples = {nal("picture")}}));
        convert(directory / "clip", type);
        const auto pair = std::find_if(fs::recursive_directory_iterator(output), {},
                                       [](const auto& entry) { return entry.path().extension() == ".ps"; });
        ASSERT_NE(pair, fs::recursive_directory_iterator()) << sent();
        const std::string data = pair->path().native();
        const RecordingView recording(read_file(data), read_file(data + "i"));
        EXPECT_EQ(recording.spans.at(0).kind & 0xC0U, mark);
    }
}

TEST_F(TalServerTest, GuidsAreRandomOnesOfVersion4) {
    const norvane::Guid first = server.GenerateGuid();
    const norvane::Guid second = server.GenerateGuid();
    EXPECT_NE(first, second);
    EXPECT_EQ(first.version(), norvane::Guid::version_random_number_based);
    EXPECT_EQ(second.variant(), norvane::Guid::variant_rfc_4122);
}

TEST_F(TalServerTest, ClipThatCannotBeOpenedIsReportedAsOneWithoutTables) {
    const std::string clip = directory / "fifo";
    ASSERT_EQ(::mkfifo(clip.c_str(), 0600), 0);
    convert(clip, 1);  // a FIFO that were opened would block here for ever
    EXPECT_EQ(sent(), "64 25 Parsing mp4 container - " + clip + ".\n\n" +
                          "64 75 No sample tables found in mp4 container.\n\n" +
                          "64 75 Error deleting file - " + clip + ". Attempting to delete again.\n\n");
    EXPECT_EQ(waits.slept, std::vector{std::chrono::milliseconds(2'000)});
    EXPECT_TRUE(boost::filesystem::exists(clip));
}
