// Pictures of a report: they show the key frames of a camera, and fit the budget.

#include <gtest/gtest.h>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/support/byte_text.h"
#include "tests/support/shell_test.h"
#include "tools/cli/base64.h"
#include "tools/cli/exit_status.h"
#include "tools/ps/report/stills.h"
#include "tools/reader/packet_time.h"
#include "tools/reader/recording.h"

namespace {

using ps_tool::Interval;
using ps_tool::Still;
using ps_tool::StillCamera;
using ps_tool::Stills;
using enum ps_tool::WantedStill::Side;

constexpr std::uint64_t kNoLimit = 1U << 30U;

std::int64_t instant(const std::string& time) {
    return *reader::parse_instant("2018-06-22 " + time);
}

std::vector<std::int64_t> times_of(const std::vector<Still>& stills) {
    std::vector<std::int64_t> times;
    for (const Still& still : stills) times.push_back(still.time);
    return times;
}

std::uint64_t size_of(const std::vector<std::vector<Still>>& cameras) {
    std::uint64_t size = 0;
    for (const auto& stills : cameras) {
        for (const Still& still : stills) size += cli::base64(still.jpeg).size();
    }
    return size;
}

class StillsTest : public ShellTest {
  protected:
    /// Writes "clip.mp4".
    void make_clip(const std::string& options, const std::string& encoder_options = "") {
        const std::string line = MAKE_CLIP " clip.mp4 " + options + " -- " + encoder_options;
        ASSERT_EQ(run(line), 0) << line;
    }
    /// The path of the recording.
    std::string convert(const std::string& start, const std::string& more = "") {
        EXPECT_EQ(run(NORVANEPI_PS " convert clip.mp4 --out recordings --force --start 2018-06-22T" + start +
                      "Z" + more + " >converted 2>&1"),
                  0);
        return directory / ("recordings/2018/06/22/" + start.substr(0, 2) + "/" + start.substr(3, 2) +
                            start.substr(6, 2) + "-00000080e.ps");
    }
    /// A camera with recordings of `seconds`, and its wanted stills.
    StillCamera camera(const std::vector<std::string>& starts, std::int64_t seconds, std::int64_t every,
                       const std::string& more = "") {
        StillCamera camera;
        ps_tool::Intervals recorded;
        for (const std::string& start : starts) {
            recorded.push_back({instant(start), instant(start) + seconds * 1000});
            camera.recordings.push_back({convert(start, more), recorded.back()});
        }
        camera.wanted = ps_tool::wanted_stills(recorded, every);
        return camera;
    }
    static Stills stills_of(const std::vector<StillCamera>& cameras, std::uint64_t budget = kNoLimit,
                            unsigned jobs = 2) {
        return ps_tool::stills_of(cameras, {1000, budget}, jobs);
    }
    static std::vector<Still> stills_of_one(const StillCamera& camera) {
        return stills_of({camera}).cameras.at(0);
    }
    std::string text_of(const std::string& command) {
        EXPECT_EQ(run(command + " >text"), 0) << command;
        return read_file(directory / "text");
    }
    /// Structural similarity of a still and a frame of the clip that is scaled to the same size, 0 to 1.
    double similarity(const Still& still, std::int64_t frame) {
        write_file(directory / "still.jpg", still.jpeg);
        const std::string line =
            "ffmpeg -nostdin -v info -i still.jpg -i clip.mp4 -lavfi \"[1]select='eq(n," +
            std::to_string(frame) +
            ")',setpts=0[f];[f][0]scale2ref=flags=area[f][s];[f]format=yuvj420p[f];[s]format=yuvj420p[s];"
            "[s][f]ssim\" -frames:v 1 -f null - 2>&1 | grep -o 'All:[0-9.]*'";
        const std::string text = text_of(line);
        return text.size() < 5 ? 0 : std::stod(text.substr(4));
    }
};

}  // namespace

TEST(WantedStills, AreMultiplesAndGapEdges) {
    const auto wanted = ps_tool::wanted_stills({{1'500, 4'000}, {9'000, 9'400}}, 1'000);
    std::vector<std::pair<std::int64_t, int>> found;
    for (const auto& still : wanted)
        found.emplace_back(still.instant, still.gap_edge ? (still.side == kAtOrBefore ? -1 : 1) : 0);
    EXPECT_EQ(found, (std::vector<std::pair<std::int64_t, int>>{
                         {1'500, 1}, {2'000, 0}, {3'000, 0}, {4'000, -1}, {9'000, 1}, {9'400, -1}}));
    EXPECT_EQ(wanted[3].number, wanted[4].number);  // both edges of a gap are thinned out together
}

TEST_F(StillsTest, ShowTheKeyFrames) {
    const struct {
        std::string clip, encoder, profile, size = "320,180";
    } rows[] = {
        {"--size 1280x720 --bframes 2", "", "default"},
        {"--size 1280x720 --sets-in-header", "", "safe"},
        {"--size 352x288", "-vf setsar=12/11", "default", "320,240"},
        {"--size 96x64", "-pix_fmt yuvj420p -color_range pc", "default", "96,64"},
        {"--size 640x360", "-pix_fmt yuv422p10le -flags +ildct+ilme", "default"},
        {"--size 640x360", "-pix_fmt yuv444p -b_strategy 0 -bf 3 -x264-params open-gop=1", "default"},
        {"--size 640x360", "-pix_fmt gray", "default"},
        {"--size 180x320", "-x264-params slices=4", "default", "180,320"},
    };
    for (const auto& [clip, encoder, profile, size] : rows) {
        SCOPED_TRACE(clip + " " + encoder);
        make_clip("--seconds 4 --key-every 10 " + clip, encoder);
        // A key frame every 400 ms. The clip ends at 4 s, with a key frame at 3.6 s. With open-gop, the time
        // of a key frame is that of the frame before it, because it is decoded earlier than it is displayed.
        const auto one = camera({"10:00:00", "10:00:10"}, 4, 1'000, " --profile " + profile);
        const Stills stills = stills_of({one});
        EXPECT_EQ(stills.notes, std::vector<std::string>());
        ASSERT_EQ(stills.cameras.size(), 1U);
        std::vector<std::int64_t> expected;
        for (const std::int64_t begin : {instant("10:00:00"), instant("10:00:10")}) {
            for (const std::int64_t offset : {0, 800, 2'000, 2'800, 3'600})
                expected.push_back(begin + offset);
        }
        ASSERT_EQ(stills.cameras[0].size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const Still& still = stills.cameras[0][i];
            EXPECT_EQ(still.obstacle, "");
            EXPECT_NEAR(static_cast<double>(still.time), static_cast<double>(expected[i]), 41);
            const std::int64_t frame = (expected[i] - instant("10:00:00")) % 10'000 / 40;
            if (i >= 5) continue;  // the second recording has the same pictures
            EXPECT_GT(similarity(still, frame), 0.9) << frame;
        }
        EXPECT_LT(similarity(stills.cameras[0][0], 70), 0.9);
        EXPECT_EQ(text_of("ffprobe -v error -show_entries stream=width,height -of csv=p=0 still.jpg"),
                  size + "\n");
    }
}

TEST_F(StillsTest, FitTheBudgetAndKeepGapEdgesLongest) {
    make_clip("--seconds 8 --key-every 25 --size 320x180");
    const std::vector<StillCamera> cameras{camera({"10:00:00", "10:01:00", "10:02:00"}, 8, 1'000),
                                           camera({"11:00:00"}, 8, 1'000)};
    const Stills all = stills_of(cameras);
    ASSERT_EQ(all.cameras[0].size(), 24U);
    ASSERT_EQ(all.cameras[1].size(), 8U);
    const std::set<std::int64_t> edges{instant("10:00:00"), instant("10:00:07"), instant("10:01:00"),
                                       instant("10:01:07"), instant("10:02:00"), instant("10:02:07")};
    const std::string reduced = "pictures reduced to fit the budget: lower quality";
    std::size_t before = 32;
    std::set<std::string> notes;
    for (std::uint64_t budget = size_of(all.cameras); before > 0; budget = budget * 5 / 9) {
        SCOPED_TRACE(budget);
        const Stills stills = stills_of(cameras, budget, 1);
        EXPECT_LE(size_of(stills.cameras), budget);
        EXPECT_EQ(stills.cameras, stills_of(cameras, budget, 3).cameras);
        const auto times = times_of(stills.cameras[0]);
        const auto at_gaps = std::ranges::count_if(times, [&](auto time) { return edges.contains(time); });
        EXPECT_TRUE(at_gaps == 6 || static_cast<std::size_t>(at_gaps) == times.size());
        const std::size_t count = times.size() + stills.cameras[1].size();
        EXPECT_LE(count, before);
        before = count;
        EXPECT_EQ(stills.notes.empty(), budget == size_of(all.cameras));
        notes.insert(stills.notes.begin(), stills.notes.end());
    }
    for (const std::string& note :
         {reduced + ", 160 pixels wide", reduced + ", 160 pixels wide, one per 2 s besides those at gaps",
          reduced + ", 160 pixels wide, only some of those at gaps",
          std::string("no picture fits the budget")})
        EXPECT_TRUE(notes.contains(note)) << note;
}

TEST_F(StillsTest, ObstaclesReplacePicturesThatCannotBeDecoded) {
    const auto obstacles = [](const StillCamera& camera) {
        std::vector<std::string> texts;
        for (const Still& still : stills_of_one(camera)) texts.push_back(still.obstacle);
        return texts;
    };
    make_clip("--sets-in-header");
    auto one = camera({"10:00:00", "10:00:10"}, 2, 1'000);  // both recordings have the same obstacle
    EXPECT_EQ(obstacles(one), std::vector<std::string>{"no parameter sets in the recording"});
    make_clip("", "-c:v libx265 -tag:v hvc1 -bsf:v null -x265-params log-level=none");
    one = camera({"10:00:00"}, 2, 1'000);
    EXPECT_EQ(obstacles(one), std::vector<std::string>{"the key frame contains no H.264 picture"});
    const std::string path = one.recordings[0].path;
    write_file(path, std::string(3'000, 'x'));
    EXPECT_EQ(obstacles(one), std::vector<std::string>{"the key frame cannot be read"});
    one.recordings[0].faulty = true;
    EXPECT_EQ(obstacles(one), std::vector<std::string>{"no key frames in the recording"});
    ASSERT_EQ(run("rm " + path + "*"), 0);
    EXPECT_EQ(obstacles(one),
              std::vector<std::string>{"the recording cannot be opened: No such file or directory"});

    make_clip("--seconds 3 --size 640x360");
    one = camera({"10:00:00"}, 3, 1'000);
    const auto intact = stills_of_one(one);
    ASSERT_EQ(intact.size(), 3U);
    const auto entry = reader::Recording(path).entry(25);  // the key frame of the second second
    std::string data = read_file(path);
    std::fill_n(data.begin() + static_cast<std::ptrdiff_t>(entry->packet_offset + entry->packet_size / 2),
                2'000, 'x');
    write_file(path, data);
    const auto damaged = stills_of_one(one);
    ASSERT_EQ(damaged.size(), 3U);
    EXPECT_EQ(damaged[0], intact[0]);
    EXPECT_EQ(damaged[1], (Still{instant("10:00:01"), "", "the key frame is damaged"}));
    EXPECT_EQ(damaged[2], intact[2]);
    EXPECT_EQ(ps_tool::stills_json(damaged)[1],
              cli::Json({instant("10:00:01"), "", "the key frame is damaged"}));
}

TEST_F(StillsTest, DamagedIndexIsNotNeeded) {
    make_clip("--seconds 3");
    auto one = camera({"10:00:00"}, 3, 1'000);
    const std::string index = one.recordings[0].path + "i";
    const auto intact = stills_of_one(one);
    ASSERT_EQ(intact.size(), 3U);
    write_file(index, std::string(read_file(index).size(), 'x'));
    EXPECT_NE(stills_of_one(one), intact);
    one.recordings[0].faulty = true;
    EXPECT_EQ(stills_of_one(one), intact);
    one.recordings[0].faulty = false;
    ASSERT_EQ(run("rm " + index), 0);
    EXPECT_EQ(stills_of_one(one), intact);
}

TEST_F(StillsTest, DamagedPayloadsDoNotCrash) {
    make_clip("--key-every 10 --size 320x180");
    const auto one = camera({"10:00:00"}, 2, 400);
    const std::string path = one.recordings[0].path;
    const std::string valid = read_file(path);
    std::mt19937 random(7);
    std::size_t obstacles = 0;
    for (int i = 0; i < 60; ++i) {
        std::string damaged = valid;
        for (int flips = 0; flips < 60; ++flips) {
            // Half of the flips hit the parameter sets and the first slice header.
            const std::size_t at = 1978 + 32 + random() % (flips % 2 == 0 ? 80 : damaged.size() - 1978 - 32);
            damaged[at] = static_cast<char>(random());
        }
        write_file(path, damaged);
        for (const Still& still : stills_of_one(one)) {
            EXPECT_NE(still.jpeg.empty(), still.obstacle.empty());
            if (!still.obstacle.empty()) ++obstacles;
        }
    }
    EXPECT_GT(obstacles, 0U);
}

TEST_F(StillsTest, WithoutTheLibraryThereIsANote) {
    make_clip("");
    const auto one = camera({"10:00:00"}, 2, 1'000);
    testing::internal::CaptureStderr();
    const Stills stills = ps_tool::stills_of({one}, {1'000, kNoLimit}, 1, []() -> ps_tool::MakeStillCodec {
        throw cli::CannotRun("libavcodec.so.59: not installed; install it");
    });
    const std::string note = "no pictures: libavcodec.so.59: not installed; install it";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "norvanepi-ps: " + note + "\n");
    EXPECT_EQ(stills.notes, std::vector<std::string>{note});
    EXPECT_EQ(stills.cameras, std::vector<std::vector<Still>>(1));
}
