// Converts clips from a real encoder, on a real disk. The recording must decode to the same pictures as the
// clip.

#include <cstdlib>

#include "platform/file.h"
#include "tests/convert/convert_test.h"
#include "tests/support/temp_directory.h"

namespace {

class RealClipsTest : public testing::Test {
  protected:
    RealClipsTest() {
        request.sourceFile = directory / "clip.mp4";
        request.inputName = "Gate";
        request.outputDirectory = directory.path() + "/out/";
        request.startSeconds = 1'529'683'509;
        recording = request.outputDirectory + "2018/06/22/16/0509-00000080e.ps";
    }

    /// Three seconds with two B-frames between the other frames and a key frame every second. The encoder's
    /// default preset uses more kinds of frames than the recipe's own.
    void make_clip(const std::string& options, const std::string& encoder_options = "") {
        const std::string line = MAKE_CLIP " " + request.sourceFile + " --size 64x48 --fps 10 --seconds 3" +
                                 " --bframes 2" + options + " -- -preset medium" + encoder_options;
        ASSERT_EQ(std::system(line.c_str()), 0) << line;
    }

    /// A hash of every decoded picture, in display order.
    std::vector<std::string> pictures(const std::string& input) {
        const std::string command = "ffmpeg -nostdin -v error -y" + input +
                                    " -map 0:v -fps_mode passthrough -f framemd5 " + (directory / "hashes");
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        std::ifstream lines(directory / "hashes");
        std::vector<std::string> hashes;
        for (std::string line; std::getline(lines, line);) {
            if (!line.starts_with('#')) hashes.push_back(line.substr(line.rfind(' ') + 1));
        }
        return hashes;
    }

    std::int32_t convert() {
        const auto keep = [this](std::int32_t, const std::string& text) { log += text; };
        norvane::Mp4Parser parser(request, {platform::system_files(), sleeper, keep, {}, module_options});
        return parser.parse_container();
    }

    /// Presentation times of the clip's packets in ms, sorted.
    std::vector<double> times_of_clip() {
        const std::string command =
            "ffprobe -v error -select_streams v -show_entries packet=pts_time -of csv=p=0 " +
            request.sourceFile + " >" + (directory / "times");
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        std::ifstream lines(directory / "times");
        std::vector<double> times;
        for (std::string line; std::getline(lines, line);) times.push_back(std::stod(line) * 1000);
        std::ranges::sort(times);
        return times;
    }

    /// Encodes a clip of 30 pictures and converts it with all options. The recording must decode by itself to
    /// the clip's pictures, with ffprobe's times.
    void expect_same_pictures_and_times(const std::string& clip_options, const std::string& encoder_options) {
        SCOPED_TRACE(clip_options + encoder_options);
        make_clip(clip_options, encoder_options);
        const auto expected = pictures(" -i " + request.sourceFile);
        const auto times = times_of_clip();
        ASSERT_EQ(expected.size(), times.size());
        ASSERT_GE(expected.size(), 20U);
        log.clear();
        ASSERT_EQ(convert(), norvane::kConverted) << log;
        const ParsedRecording result = view();
        EXPECT_EQ(result.fault(), "");
        EXPECT_EQ(pictures_of(result), expected);
        ASSERT_EQ(result.entries.size(), times.size());
        for (std::size_t i = 0; i < times.size(); ++i)
            EXPECT_NEAR(result.entries[i].time_of_day, kStartOfDay + times[i], 0.51) << i;
    }
    static constexpr double kStartOfDay = 57'909'000;  // request.startSeconds in ms since midnight

    ParsedRecording view() const { return {read_file(recording), read_file(recording + "i")}; }

    /// The recording's frames, decoded as one H.264 stream.
    [[nodiscard]] std::vector<std::string> pictures_of(const ParsedRecording& recorded) {
        std::string stream;
        for (const std::string& frame : recorded.payloads()) stream += frame;
        write_file(directory / "stream.h264", stream);
        return pictures(" -f h264 -i " + (directory / "stream.h264"));
    }

    /// Encodes a clip, converts it, and compares the decoded pictures.
    void expect_same_pictures(const std::string& options, const std::string& encoder_options = "") {
        SCOPED_TRACE(options + encoder_options);
        make_clip(options, encoder_options);
        const auto expected = pictures(" -ignore_editlist 1 -i " + request.sourceFile);
        ASSERT_EQ(expected.size(), 30U);
        ASSERT_EQ(convert(), norvane::kConverted) << log;
        const ParsedRecording result = view();
        EXPECT_EQ(result.fault(), "");
        EXPECT_EQ(pictures_of(result), expected);
        ASSERT_EQ(result.entries.size(), 30U);
        for (std::size_t i = 0; i < 30; ++i) EXPECT_EQ(result.entries[i].key_distance, i % 10) << i;
    }

    TempDirectory directory;
    InstantSleeper sleeper;
    StreamRecord request;
    norvane::Options module_options;
    std::string recording;
    std::string log;
    TimeZone zone_{"UTC0"};
};

}  // namespace

TEST_F(RealClipsTest, RecordingDecodesToTheClipsPictures) {
    expect_same_pictures("");
    expect_same_pictures("", " -movflags +faststart");
    expect_same_pictures(" --audio");
    expect_same_pictures(" --audio-first");
}

TEST_F(RealClipsTest, FragmentedClipIsRefused) {
    make_clip("", " -movflags frag_keyframe+empty_moov");
    EXPECT_EQ(convert(), norvane::kNotConverted);
    EXPECT_EQ(log, "Parsing mp4 container - " + request.sourceFile +
                       ".\nNo sample tables found in mp4 container.\n");
    EXPECT_FALSE(boost::filesystem::exists(request.sourceFile));
    EXPECT_FALSE(boost::filesystem::exists(request.outputDirectory));
}

TEST_F(RealClipsTest, WithAllOptionsRecordingHasTheClipsPicturesAndTimes) {
    module_options = {.parameter_sets = true, .sample_times = true, .all_clips = true};
    const std::string sets = " --sets-in-header";
    const std::string variable =
        " -vf select='gt(mod(n\\,7)\\,1)' -fps_mode vfr -video_track_timescale 90000";
    expect_same_pictures_and_times(sets, "");
    expect_same_pictures_and_times(sets + " --audio-first", " -movflags +faststart");
    expect_same_pictures_and_times(sets, variable);
    expect_same_pictures_and_times(sets, variable + " -movflags frag_keyframe+empty_moov");
    expect_same_pictures_and_times(sets + " --audio-first", " -movflags frag_keyframe -frag_duration 300000");
    expect_same_pictures_and_times(sets, " -movflags frag_every_frame+empty_moov+default_base_moof");
    expect_same_pictures_and_times(sets, " -movflags frag_keyframe+empty_moov+omit_tfhd_offset");
    expect_same_pictures_and_times(sets, " -output_ts_offset 0.34");
    expect_same_pictures_and_times("", " -tag:v avc3");
    expect_same_pictures_and_times(sets, " -x264-params open-gop=1:keyint=12:aud=1");
}

TEST_F(RealClipsTest, PathsMayBeLongAndContainInvalidUtf8) {
    request.outputDirectory = directory.path();
    for (int i = 0; i < 12; ++i)
        request.outputDirectory += "/" + std::string(200, static_cast<char>('a' + i));
    request.outputDirectory += "/\xFF\xFE umlaut \xE4/";
    request.sourceFile = directory / "clip \xC3(.mp4";
    write_file(request.sourceFile, clip_maker::make_clip(three_frames()));
    EXPECT_EQ(convert(), norvane::kConverted) << log;
    recording = request.outputDirectory + "2018/06/22/16/0509-00000080e.ps";
    EXPECT_EQ(view().fault(), "");
    EXPECT_EQ(view().entries.size(), 3U);
    EXPECT_FALSE(boost::filesystem::exists(request.sourceFile));
}
