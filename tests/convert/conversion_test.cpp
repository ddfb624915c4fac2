#include <gmock/gmock.h>

#include <boost/system/error_code.hpp>

#include "convert/container_command.h"
#include "tests/convert/convert_test.h"

namespace {

using ::testing::HasSubstr;

const std::string kStarted = "25 Parsing mp4 container - clip.mp4.\n";
const std::string kDirectoryMade = "directory out/2018/06/22/16\n";
const std::string kOpened =
    "create out/2018/06/22/16/0509-00A10380e.ps\n"
    "create out/2018/06/22/16/0509-00A10380e.psi\n"
    "25 Opened (and PSI) out/2018/06/22/16/0509-00A10380e.ps.\n"
    "25 Processing mp4 container stream - clip.mp4.\n";
const std::string kConverted = kStarted + kDirectoryMade + kOpened;
const std::string kNotOpened =
    "75 Error opening ps file - out/2018/06/22/16/0509-00A10380e.ps for write\n.\n";
const std::string kNotWritten =
    "75 Error occured while writing frame to ps file - out/2018/06/22/16/0509-00A10380e.ps.\n";
const std::string kNoTables = "75 No sample tables found in mp4 container.\n";
const std::string kRemoved = "remove clip.mp4\n";
const std::string kRemovedOnRetry =
    kRemoved + "75 Error deleting file - clip.mp4. Attempting to delete again.\n" + kRemoved;

}  // namespace

TEST_F(ConvertTest, ClipBecomesARecordingAndIsRemoved) {
    files.note = [this, note = files.note](const std::string& what) {
        note(what);
        EXPECT_TRUE(what != "remove clip.mp4" || recording().spans.empty());  // not complete yet
    };
    expect(make_clip(three_frames()), 0, kConverted + kRemoved);
    EXPECT_FALSE(files.has("clip.mp4"));
    const ParsedRecording view = recording();
    EXPECT_EQ(view.fault(), "");
    EXPECT_EQ(view.spans.size(), 1U);
    EXPECT_EQ(view.payloads(), (std::vector{in_frame("first"), in_frame("second frame"), in_frame("third")}));
    EXPECT_EQ(view.time(0), "2018-06-22 16:05:09.000");
    EXPECT_EQ(view.time(2), "2018-06-22 16:05:09.666");
}

TEST_F(ConvertTest, FilesThatAreNotMp4AreRefusedAndRemoved) {
    for (const char* clip :
         {"RIFF....AVI LIST", "\x1A\x45\xDF\xA3 matroska", "\xFF\xD8\xFF\xE0 JFIF", "1234fty", ""}) {
        expect(clip, 1, "75 Unsupported file format - clip.mp4.\n" + kRemoved);
    }
}

TEST_F(ConvertTest, ClipsWithoutACompleteTrackAreReportedAndRemoved) {
    expect(box("ftyp", "isom") + box("moof", box("traf", box("trun", zeros(8)))), 1,
           kStarted + kNoTables + kRemoved);
    ClipTrack long_offsets = three_frames();
    long_offsets.order.back() = "co64";
    expect(make_clip(long_offsets), 1, kStarted + "25 Unknown box type : co64\n" + kNoTables + kRemoved);
}

TEST_F(ConvertTest, FailedRemovalIsRetriedOnceAfterTwoSeconds) {
    files.failing_removals = 1;
    expect(make_clip(three_frames()), 0, kConverted + kRemovedOnRetry);
    EXPECT_FALSE(files.has("clip.mp4"));
    files.unopenable = {"clip.mp4"};  // treated as a clip without tables
    files.failing_removals = 2;
    expect(make_clip(three_frames()), 1, kStarted + kNoTables + kRemovedOnRetry);
    EXPECT_EQ(sleeper.sleeps, 2);
    EXPECT_EQ(sleeper.slept.count(), 4'000);
    EXPECT_TRUE(files.has("clip.mp4"));
}

TEST_F(ConvertTest, OutputThatCannotBeOpenedEndsTheConversion) {
    const std::string clip = make_clip(three_frames());
    files.directory_error = boost::system::errc::make_error_code(boost::system::errc::permission_denied);
    expect(clip, 1, kStarted + kDirectoryMade + kNotOpened + kRemoved);
    files.directory_error.clear();
    files.unopenable = {kRecording + "i"};
    const std::string tried = "create " + kRecording + "\ncreate " + kRecording + "i\n";
    expect(clip, 1, kStarted + kDirectoryMade + tried + kNotOpened + kRemoved);
}

TEST_F(ConvertTest, BadNalLengthEndsTheConversionAfterTheValidFrames) {
    ClipTrack track = three_frames();
    track.samples[2] = from_hex("7FFFFFFF") + "third";
    expect(make_clip(track), 3,
           kConverted + "75 Bad frame size. Aborting parsing of mp4 container.\n" + kRemoved);
    EXPECT_EQ(recording().fault(), "");
    EXPECT_EQ(recording().entries.size(), 2U);
}

TEST_F(ConvertTest, FailedClipIsKeptWithTheOption) {
    options.keep_failed_clips = true;
    ClipTrack track = three_frames();
    track.samples[2] = from_hex("7FFFFFFF") + "third";
    const std::string bad_frame = "Bad frame size. Aborting parsing of mp4 container.\n";
    expect(
        make_clip(track), 3,
        kConverted + "75 " + bad_frame + "75 NorVane - keeping clip 'clip.mp4' after 2 frames: " + bad_frame);
    EXPECT_TRUE(files.has("clip.mp4"));
    expect("no clip", 1,
           "75 Unsupported file format - clip.mp4.\n"
           "75 NorVane - keeping clip 'clip.mp4' after 0 frames: Unsupported file format - clip.mp4.\n");
    expect(make_clip(three_frames()), 0, kConverted + kRemoved);
}

TEST_F(ConvertTest, RecordingOfTheRepeatedHourIsKeptWithTheOption) {
    if (!kZonesCanBeSet) GTEST_SKIP() << "this system has one time zone";
    const TimeZone zone(kCentralEurope);
    request.startSeconds = 1'792'888'200;  // 2026-10-25 00:30 UTC, 02:30 summer time
    const std::string path = "out/2026/10/25/02/3000-00A10380e.ps";
    const auto start_of_recording = [&] {
        return ParsedRecording(files.at(path), files.at(path + "i")).time(0);
    };
    options.keep_recordings = true;
    EXPECT_EQ(convert(make_clip(three_frames())), 0);
    request.startSeconds += 3'600;  // 02:30 standard time
    EXPECT_EQ(convert(make_clip(three_frames())), 1);
    EXPECT_THAT(events, HasSubstr("75 NorVane - '" + path + "' is a recording of another time.\n"));
    EXPECT_THAT(events, HasSubstr("75 NorVane - keeping clip 'clip.mp4' after 0 frames: "));
    EXPECT_EQ(start_of_recording(), "2026-10-25 00:30:00.000");
    request.startSeconds -= 3'600;
    EXPECT_EQ(convert(make_clip(three_frames())), 0);  // the same clip once more

    options.keep_recordings = false;
    request.startSeconds += 3'600;
    EXPECT_EQ(convert(make_clip(three_frames())), 0);
    EXPECT_EQ(start_of_recording(), "2026-10-25 01:30:00.000");
}

TEST_F(ConvertTest, FrameOutsideTheCalendarRangeCannotBeWritten) {
    // With two frames, the second is half the duration after the first.
    Clip clip{.tracks = {{.samples = {nal("one"), nal("two")}}}, .timescale = 1, .long_times = true};
    for (const std::uint64_t duration :
         std::initializer_list<std::uint64_t>{200'000'000'000'000'000, 1ULL << 62, kNever}) {
        clip.duration = duration;
        expect(make_clip(clip), 1, kConverted + kNotWritten + kRemoved);
        EXPECT_EQ(recording().entries.size(), 1U);
    }
    clip.duration = 64'000'000'000'000;  // a million years: the date repeats every 128 years
    expect(make_clip(clip), 0, kConverted + kRemoved);
}

TEST_F(ConvertTest, TrackWithoutAMandatoryTableEndsTheConversion) {
    norvane::Mp4Parser parser(request, context());
    MemoryInput no_clip("");
    BoxReader in(&no_clip);
    parser.tracks().resize(1);
    EXPECT_EQ(parser.process_stream(in), norvane::kBadTables);
    EXPECT_EQ(events, kDirectoryMade + kOpened +
                          "75 Did not receive mandatory sample tables. Aborting parsing of mp4 container.\n");

    parser.tracks().clear();
    events.clear();
    parser.init_channel_sample_tables("Door");
    EXPECT_EQ(events, "75 Unable to initialize channel sample tables is empty.\n");
    EXPECT_EQ(parser.channels()[0].name, "Gate");
}

TEST_F(ConvertTest, CommandReturnsTheParsersResultAndFailsWithoutAParser) {
    using Command = VideoContainerConverterCommand<norvane::Mp4Parser>;
    EXPECT_EQ(Command(nullptr).run(), 3);
    files.put("clip.mp4", "not a clip");
    Command command(std::make_unique<norvane::Mp4Parser>(request, context()));
    EXPECT_EQ(command.stop(), 0);
    EXPECT_EQ(command.run(), norvane::kNotConverted);
}
