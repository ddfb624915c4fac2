// Clips as encoders make them, on a real disk: what the recording holds has to decode to the clip's own
// pictures.

#include <cstdlib>

#include "platform/file.h"
#include "tests/convert/convert_test.h"
#include "tests/support/temp_directory.h"

namespace {

// Three seconds of a moving picture with two B-frames between the others and a key frame every second.
// Parameter sets stand in front of every key frame, as cameras put them.
const std::string kPicture = " -f lavfi -i testsrc=size=64x48:rate=10:duration=3";
const std::string kSound = " -f lavfi -i sine=duration=3";
const std::string kVideo = " -c:v libx264 -pix_fmt yuv420p -bf 2 -g 10 -bsf:v dump_extra=freq=keyframe";

class RealClipsTest : public testing::Test {
  protected:
    RealClipsTest() {
        request.sourceFile = directory / "clip.mp4";
        request.inputName = "Gate";
        request.outputDirectory = directory.path() + "/out/";
        request.startSeconds = 1'529'683'509;
        recording = request.outputDirectory + "2018/06/22/16/0509-00000080e.ps";
    }

    static void ffmpeg(const std::string& arguments) {
        ASSERT_EQ(std::system(("ffmpeg -nostdin -v error -y" + arguments).c_str()), 0) << arguments;
    }

    /// A hash of every picture, in the order they are shown.
    std::vector<std::string> pictures(const std::string& input) {
        ffmpeg(input + " -map 0:v -fps_mode passthrough -f framemd5 " + (directory / "hashes"));
        std::ifstream lines(directory / "hashes");
        std::vector<std::string> hashes;
        for (std::string line; std::getline(lines, line);) {
            if (!line.starts_with('#')) hashes.push_back(line.substr(line.rfind(' ') + 1));
        }
        return hashes;
    }

    std::int32_t convert() {
        const auto keep = [this](std::int32_t, const std::string& text) { log += text; };
        norvane::Mp4Parser parser(request, {platform::system_files(), sleeper, keep});
        return parser.parse_container();
    }

    RecordingView view() const { return {read_file(recording), read_file(recording + "i")}; }

    /// Makes a clip, converts it, and compares what both show.
    void expect_same_pictures(const std::string& inputs, const std::string& options) {
        SCOPED_TRACE(options);
        ffmpeg(inputs + options + " " + request.sourceFile);
        const auto shown_by_clip = pictures(" -ignore_editlist 1 -i " + request.sourceFile);
        ASSERT_EQ(shown_by_clip.size(), 30U);
        ASSERT_EQ(convert(), norvane::kConverted) << log;
        const RecordingView result = view();
        EXPECT_EQ(result.fault(), "");
        std::string stream;
        for (const std::string& frame : result.payloads()) stream += frame;
        write_file(directory / "stream.h264", stream);
        EXPECT_EQ(pictures(" -f h264 -i " + (directory / "stream.h264")), shown_by_clip);
        ASSERT_EQ(result.entries.size(), 30U);
        for (std::size_t i = 0; i < 30; ++i) EXPECT_EQ(result.entries[i].key_distance, i % 10) << i;
    }

    TempDirectory directory;
    InstantSleeper sleeper;
    StreamRecord request;
    std::string recording;
    std::string log;
    TimeZone zone_{"UTC0"};
};

}  // namespace

TEST_F(RealClipsTest, RecordingShowsTheClipsPicturesWhateverIsAroundThem) {
    expect_same_pictures(kPicture, kVideo);
    expect_same_pictures(kPicture, kVideo + " -movflags +faststart");
    expect_same_pictures(kPicture + kSound, kVideo + " -map 0:v -map 1:a -c:a aac");
    expect_same_pictures(kPicture + kSound, kVideo + " -map 1:a -map 0:v -c:a aac");
}

TEST_F(RealClipsTest, FragmentedClipIsRefused) {
    ffmpeg(kPicture + kVideo + " -movflags frag_keyframe+empty_moov " + request.sourceFile);
    EXPECT_EQ(convert(), norvane::kNotConverted);
    EXPECT_EQ(log, "Parsing mp4 container - " + request.sourceFile +
                       ".\nNo sample tables found in mp4 container.\n");
    EXPECT_FALSE(boost::filesystem::exists(request.sourceFile));
    EXPECT_FALSE(boost::filesystem::exists(request.outputDirectory));
}

TEST_F(RealClipsTest, PathsMayBeLongAndNeedNotBeText) {
    request.outputDirectory = directory.path();
    for (int i = 0; i < 12; ++i)
        request.outputDirectory += "/" + std::string(200, static_cast<char>('a' + i));
    request.outputDirectory += "/\xFF\xFE umlaut \xE4/";
    request.sourceFile = directory / "clip \xC3(.mp4";
    write_file(request.sourceFile, make_clip(three_frames()));
    EXPECT_EQ(convert(), norvane::kConverted) << log;
    recording = request.outputDirectory + "2018/06/22/16/0509-00000080e.ps";
    EXPECT_EQ(view().fault(), "");
    EXPECT_EQ(view().entries.size(), 3U);
    EXPECT_FALSE(boost::filesystem::exists(request.sourceFile));
}
