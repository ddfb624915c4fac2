// norvanepi-ps export: an exported file must decode to the same pictures at the same times as the clip.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/byte_text.h"
#include "tests/support/temp_directory.h"
#include "tools/h264/picture_order.h"

namespace {

std::uint32_t word_at(const std::string& bytes, std::size_t at) {
    return platform::load<std::endian::big, std::uint32_t>(platform::bytes_of(bytes).subspan(at).first<4>());
}

/// The clip, whose "moov" is at its end, with 64-bit chunk offsets (ISO/IEC 14496-12, 8.7.5).
std::string with_long_offsets(std::string clip) {
    for (std::size_t at = clip.rfind("moov"); (at = clip.find("stco", at)) != std::string::npos;) {
        const std::size_t count = word_at(clip, at + 8);
        for (std::size_t i = 0; i < count; ++i) clip.insert(at + 12 + 8 * i, 4, '\0');
        clip.replace(at, 4, "co64");
        for (const char* const type : {"co64", "stbl", "minf", "mdia", "trak", "moov"}) {
            const std::size_t size_at = clip.rfind(type, at) - 4;
            clip.replace(size_at, 4, be32(word_at(clip, size_at) + 4 * count));
        }
    }
    return clip;
}

/// The clip with the decode times of its fragments (ISO/IEC 14496-12, 8.8.12) renamed to free space.
std::string without_decode_times(std::string clip) {
    for (std::size_t at = 0; (at = clip.find("tfdt", at)) != std::string::npos;) clip.replace(at, 4, "free");
    return clip;
}

class ExportTest : public testing::Test {
  protected:
    int run(const std::string& line) {
        const int ended = std::system(("cd " + directory.path() + " && TZ=UTC " + line).c_str());
        return WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
    }
    int ps(const std::string& arguments) {
        return run(NORVANEPI_PS " " + arguments + " >out 2>err </dev/null");
    }
    std::string error() const { return read_file(directory / "err"); }
    /// Two seconds in "clip.mp4". The encoder's default preset reorders frames in more ways than the
    /// recipe's own.
    void make_clip(const std::string& options, const std::string& encoder_options = "") {
        const std::string line = MAKE_CLIP " clip.mp4 --size 96x64 --picture testsrc " + options +
                                 " -- -preset medium " + encoder_options;
        ASSERT_EQ(run(line), 0) << line;
    }
    void convert(const std::string& start, const std::string& more = "") {
        ASSERT_EQ(ps("convert clip.mp4 --out recordings --force --start 2018-06-22T" + start + more), 0)
            << error();
    }

    /// The lines that the command prints.
    std::vector<std::string> lines_of(const std::string& command) {
        EXPECT_EQ(run(command + " >lines"), 0) << command;
        std::istringstream text(read_file(directory / "lines"));
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) lines.push_back(line);
        return lines;
    }
    /// A hash of every decoded picture, in display order.
    std::vector<std::string> pictures(const std::string& file) {
        return lines_of("ffmpeg -nostdin -v error -i " + file +
                        " -map 0:v:0 -fps_mode passthrough -f framemd5 - | grep -v '^#' | sed 's/.*,//'");
    }
    struct DisplayedFrame {
        bool key = false;
        double at = 0;  // seconds
    };
    std::vector<DisplayedFrame> shown(const std::string& file) {
        std::vector<DisplayedFrame> all;
        for (const std::string& line : lines_of(
                 "ffprobe -v error -select_streams v:0 -show_entries frame=key_frame,pts_time -of csv=p=0 " +
                 file + " | grep -oE '^[01],[0-9.]+'"))
            all.push_back({line[0] == '1', std::stod(line.substr(2))});
        return all;
    }
    /// The file may begin with a number of pictures that the clip's edit list hides. Time 0 of the file is
    /// its first frame.
    void expect_same_pictures_and_times(const std::string& file, const std::string& clip,
                                        std::size_t hidden = 0) {
        SCOPED_TRACE(file);
        auto exported = pictures(file);
        exported.erase(exported.begin(), exported.begin() + static_cast<std::ptrdiff_t>(hidden));
        EXPECT_EQ(exported, pictures(clip));
        const auto expected = shown(clip);
        const auto found = shown(file);
        ASSERT_EQ(found.size(), expected.size() + hidden);
        ASSERT_EQ(found[0].at, 0);
        for (std::size_t i = 0; i < expected.size(); ++i) {
            EXPECT_EQ(found[i + hidden].key, expected[i].key) << i;
            EXPECT_NEAR(found[i + hidden].at - found[hidden].at, expected[i].at - expected[0].at, 0.0011)
                << i;
        }
    }

    TempDirectory directory;
};

}  // namespace

TEST_F(ExportTest, ExportHasTheClipsPicturesAndTimes) {
    const struct {
        std::string clip, encoder, sets;
    } rows[] = {
        {"--key-every 10", "", ""},
        {"--bframes 3 --key-every 10", "", ""},
        {"--bframes 3", "-b_strategy 0 -x264-params open-gop=1:keyint=12", ""},
        {"--bframes 2 --sets-in-header", "", " --parameter-sets clip.mp4"},
    };
    for (const auto& [clip, encoder, sets] : rows) {
        SCOPED_TRACE(clip);
        make_clip(clip, encoder);
        convert("23:59:59Z");  // crosses midnight
        for (const std::string out : {"o.mp4", "o.mkv"}) {
            ASSERT_EQ(ps("export recordings --force -o " + out + sets), 0) << error();
            EXPECT_EQ(error(), "");
            expect_same_pictures_and_times(out, "clip.mp4");
        }
        ASSERT_EQ(ps("export recordings -o -" + sets), 0) << error();
        ASSERT_EQ(run("mv out o.h264"), 0);
        EXPECT_EQ(pictures("o.h264"), pictures("clip.mp4"));
    }
}

TEST_F(ExportTest, SafeProfileExportNeedsOnlyTheRecording) {
    const std::string in_header = "--sets-in-header --bframes 2 --key-every 10 ";
    const std::string variable =
        "-vf select='gt(mod(n\\,7)\\,1)' -fps_mode vfr -video_track_timescale 90000 ";
    const std::string fragmented = variable + "-movflags frag_keyframe+empty_moov ";
    const struct {
        std::string clip, encoder, begins;
        std::string (*change)(std::string) = nullptr;
        std::size_t hidden = 0;
    } rows[] = {
        {in_header + "--audio-first", "-output_ts_offset 0.34", "59.340", with_long_offsets},
        {in_header, fragmented, "59.080"},
        {in_header + "--audio", "-map 0:v -s:v:1 64x32 " + fragmented, "59.080", without_decode_times},
        {"--bframes 2 --key-every 10", "-tag:v avc3 -avoid_negative_ts disabled -output_ts_offset -0.1",
         "58.880", nullptr, 3},
    };
    for (const auto& [clip, encoder, begins, change, hidden] : rows) {
        SCOPED_TRACE(clip + encoder);
        make_clip(clip, encoder);
        if (change != nullptr) {
            const std::string original = read_file(directory / "clip.mp4");
            write_file(directory / "clip.mp4", change(original));
            ASSERT_NE(read_file(directory / "clip.mp4"), original);
        }
        convert("23:59:59Z", " --profile safe");
        for (const std::string out : {"o.mp4", "o.mkv"}) {
            ASSERT_EQ(ps("export recordings --force -o " + out), 0) << error();
            EXPECT_EQ(error(), "");
            expect_same_pictures_and_times(out, "clip.mp4", hidden);
        }
        EXPECT_EQ(lines_of("ffprobe -v error -show_entries format_tags=creation_time -of csv=p=0 o.mkv"),
                  std::vector<std::string>{"2018-06-22T23:59:" + begins + "000Z"});
    }
}

TEST_F(ExportTest, RecordingsAreJoinedAndRangesEndAtKeyFrames) {
    make_clip("--bframes 2 --key-every 10");
    convert("10:00:10Z");
    convert("10:00:00Z");
    convert("10:00:11Z");  // overlaps the one from 10:00:10 on
    ASSERT_EQ(ps("export --help"), 0);
    EXPECT_NE(read_file(directory / "out").find("Example: norvanepi-ps export recordings --out gate.mp4"),
              std::string::npos);
    ASSERT_EQ(ps("export recordings --out gate.mp4"), 0) << error();
    EXPECT_NE(error().find("30 frames skipped"), std::string::npos) << error();
    const auto all = shown("gate.mp4");
    ASSERT_EQ(all.size(), 120U);
    EXPECT_NEAR(all[49].at, 1.96, 0.002);
    EXPECT_NEAR(all[50].at, 10, 0.002);  // the gap is kept

    ASSERT_EQ(
        ps("export recordings -o part.mp4 --from 2018-06-22T10:00:01.000Z --to 2018-06-22T10:00:10.500Z"), 0)
        << error();
    const auto part = shown("part.mp4");
    ASSERT_EQ(part.size(), 30U + 20U);  // from 0.8 s, up to the key frame at 10.8 s
    EXPECT_TRUE(part[0].key);
    EXPECT_NEAR(part[30].at, 10 - 0.8, 0.002);
}

TEST_F(ExportTest, RefusesExportsThatCannotBePlayed) {
    make_clip("--key-every 10 --sets-in-header");
    convert("10:00:00Z");
    EXPECT_EQ(ps("export recordings -o o.mp4"), 1);
    EXPECT_NE(error().find("no parameter sets"), std::string::npos);
    EXPECT_FALSE(boost::filesystem::exists(directory / "o.mp4"));
    const std::string sets = " --parameter-sets clip.mp4";
    EXPECT_EQ(ps("export recordings -o o.mp4 --from 2018-06-23T10:00:00Z" + sets), 1);
    EXPECT_EQ(ps("export recordings -o o.mp4 --to 2018-06-21T10:00:00Z" + sets), 1);
    for (const char* wrong : {"-o o.avi", "-o none/o.h264", "-o err", "-o none/o.mkv"}) {
        EXPECT_NE(ps(std::string("export recordings --parameter-sets clip.mp4 ") + wrong), 0);
        EXPECT_NE(error(), "");
    }
    ASSERT_EQ(ps("export recordings -o o.mp4" + sets), 0) << error();
    EXPECT_EQ(ps("export recordings -o o.mp4" + sets), 2);  // already exists
}

TEST_F(ExportTest, DamagedPayloadsAreExportedOrRefusedWithoutACrash) {
    make_clip("--bframes 2 --key-every 10");
    convert("10:00:00Z");
    const std::string path = directory / "recordings/2018/06/22/10/0000-00000080e.ps";
    const std::string valid = read_file(path);
    std::mt19937 random(7);
    for (int i = 0; i < 40; ++i) {
        std::string damaged = valid;
        for (int flips = 0; flips < 60; ++flips) {
            // Half of the flips hit the parameter sets and the first slice header.
            const std::size_t at = 1978 + 32 + random() % (flips % 2 == 0 ? 80 : damaged.size() - 1978 - 32);
            damaged[at] = static_cast<char>(random());
        }
        write_file(path, damaged);
        const int status = ps("export recordings --force -o o.mkv");
        EXPECT_TRUE(status == 0 || status == 1) << status << error();
    }
}

namespace {

/// Computes the order of frames in one sequence from the fields of their slices.
class FrameOrder {
  public:
    h264::SequenceParameterSet sequence;

    std::int64_t next(bool reference, std::uint32_t frame_num, std::int32_t difference = 0,
                      std::uint32_t lsb = 0) {
        h264::SliceHeader slice{.sets = {&sequence, &picture_}};
        slice.idr = std::exchange(first_, false);
        slice.reference = reference;
        slice.frame_num = frame_num;
        slice.delta_order[0] = difference;
        slice.order_lsb = lsb;
        return order_.next(slice);
    }

  private:
    h264::PictureParameterSet picture_;
    h264::PictureOrder order_;
    bool first_ = true;
};

}  // namespace

TEST(PictureOrder, SupportsTypesThatEncodersRarelyUse) {
    FrameOrder cycle;  // every second frame is a reference: P b P b, displayed as b P b P
    cycle.sequence.order_type = 1;
    cycle.sequence.offsets_for_reference = {4};
    cycle.sequence.offset_for_non_reference = -2;
    EXPECT_EQ(cycle.next(true, 0), 0);
    EXPECT_EQ(cycle.next(true, 1), 4);
    EXPECT_EQ(cycle.next(false, 2), 4 - 2);
    EXPECT_EQ(cycle.next(true, 2), 8);
    EXPECT_EQ(cycle.next(true, 3, -3), 12 - 3);
    cycle.sequence.frame_num_bits = 4;
    EXPECT_EQ(cycle.next(true, 0), 4 * 16);  // the frame number has wrapped around

    FrameOrder bits;
    bits.sequence.order_bits = 4;
    EXPECT_EQ(bits.next(true, 0, 0, 0), 0);
    EXPECT_EQ(bits.next(true, 1, 0, 8), 8);
    EXPECT_EQ(bits.next(true, 2, 0, 0), 16);
    EXPECT_EQ(bits.next(false, 3, 0, 14), 14);  // before the wrap-around
}
