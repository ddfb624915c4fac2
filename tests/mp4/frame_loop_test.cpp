#include "mp4/frame_loop.h"

#include <gtest/gtest.h>

#include "mp4/box_walk.h"
#include "tests/support/clips.h"
#include "tests/support/memory_files.h"

namespace {

/// One frame as received by the sink.
struct Seen {
    bool key;
    std::uint16_t counter;
    double time;
    std::string bytes;
};

struct Conversion {
    std::vector<Seen> frames;
    TrackResult end = TrackResult::kDone;
};

/// Converts the first track of the clip.
Conversion convert(platform::InputFile& file, double frame_duration = 0.5) {
    BoxReader in(&file);
    const auto tracks = gather_tracks(in, [](const std::string&) {});
    in.clear();
    Conversion done;
    done.end = convert_track(tracks.at(0), in, 1'529'683'509, frame_duration, [&](const Frame& frame) {
        const std::string bytes(frame.bytes.begin(), frame.bytes.end());
        done.frames.push_back({frame.key_frame, frame.group_counter, frame.time, bytes});
        return true;
    });
    return done;
}

Conversion convert(const std::string& clip, double frame_duration = 0.5) {
    MemoryInput file(clip);
    return convert(file, frame_duration);
}

double duration_of(std::vector<SttsEntry> times, std::uint32_t timescale, std::uint64_t duration) {
    SampleTables track;
    track.time_to_sample = std::move(times);
    track.movie_headers = {{.duration = duration, .timescale = timescale}};
    return frame_duration(track);
}

/// Adds up how many bytes of a sample are in the window already when a read loads the rest of it: the reader
/// moves them. All samples have the same size and follow one another up to the end of the file.
class CountingInput final : public platform::InputFile {
  public:
    CountingInput(std::string clip, std::size_t sample_size)
        : file_(std::move(clip)), sample_size_(sample_size) {}
    [[nodiscard]] std::uint64_t size() const override { return file_.size(); }
    std::size_t read_at(std::uint64_t position, std::span<platform::Byte> to) override {
        const std::uint64_t left = size() - position;
        moved += (sample_size_ - left % sample_size_) % sample_size_;
        return file_.read_at(position, to);
    }
    std::uint64_t moved = 0;

  private:
    MemoryInput file_;
    std::size_t sample_size_;
};

const ClipTrack kFiveFrames{.samples = {nal("one"), nal("second"), nal("3"), nal(""), nal("five")},
                            .sync = {{1, 4}}};

}  // namespace

TEST(FrameLoopTest, FrameDurationIsMovieDurationPerSampleOrTheDefault) {
    EXPECT_DOUBLE_EQ(duration_of({{100, 1}, {200, 7}}, 1000, 20'000), 20.0 / 300);
    EXPECT_DOUBLE_EQ(duration_of({{27'000, 3'000}}, 90'000, 81'000'000), 1.0 / 30);
    EXPECT_DOUBLE_EQ(duration_of({{0xFFFFFFFF, 1}, {0xFFFFFFFF, 1}, {2, 1}}, 1, 1ULL << 33), 1.0);
    EXPECT_EQ(duration_of({{300, 1}}, 0, 20'000), 0.065);
    EXPECT_EQ(duration_of({{300, 1}}, 1000, 0), 0.065);
    EXPECT_EQ(duration_of({{0, 1}}, 1000, 20'000), 0.065);
    SampleTables no_header;
    no_header.time_to_sample = {{300, 1}};
    EXPECT_EQ(frame_duration(no_header), 0.065);
}

TEST(FrameLoopTest, FramesHaveKeyFlagCounterTimeAndBytes) {
    const Conversion done = convert(make_clip(kFiveFrames));
    ASSERT_EQ(done.frames.size(), 5U);
    EXPECT_EQ(done.end, TrackResult::kDone);
    const Seen expected[] = {{true, 1, 0.0, "one"},
                             {false, 1, 0.5, "second"},
                             {false, 2, 1.0, "3"},
                             {true, 3, 1.5, ""},
                             {false, 1, 2.0, "five"}};
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(done.frames[i].key, expected[i].key) << i;
        EXPECT_EQ(done.frames[i].counter, expected[i].counter) << i;
        EXPECT_EQ(done.frames[i].time, 1'529'683'509 + expected[i].time) << i;
        EXPECT_EQ(done.frames[i].bytes, in_frame(expected[i].bytes)) << i;
    }
}

TEST(FrameLoopTest, CounterRestartsAfterKeyFramesAndWrapsWithoutThem) {
    ClipTrack track{.samples = std::vector<std::string>(65'538, nal("x"))};
    for (const Seen& frame : convert(make_clip(track)).frames) ASSERT_TRUE(frame.key && frame.counter == 1);
    track.sync = {1};
    const Conversion done = convert(make_clip(track), 0.065);
    EXPECT_EQ(done.frames.at(65'535).counter, 65'535);
    EXPECT_EQ(done.frames.at(65'536).counter, 0);
    double offset = 0;  // added up without the time base, which would lose digits
    for (int i = 0; i < 65'536; ++i) offset += 0.065;
    EXPECT_EQ(done.frames.at(65'536).time, 1'529'683'509 + offset);
}

TEST(FrameLoopTest, ReadingSeeksToEachChunkAndReadsItsSamplesSequentially) {
    ClipTrack track = kFiveFrames;
    track.chunks = {2, 2, 1};
    std::string clip = make_clip(track);
    EXPECT_EQ(convert(clip).frames.at(2).bytes, in_frame("3"));
    clip.replace(clip.find("stco") + 16, 4,
                 be32(clip.find("mdat") + 4));  // the second chunk has the offset of the first
    EXPECT_EQ(convert(clip).frames.at(2).bytes, in_frame("one"));
    EXPECT_EQ(convert(clip).frames.at(3).bytes, in_frame("second"));
    EXPECT_EQ(convert(clip).frames.at(4).bytes, in_frame("five"));
}

TEST(FrameLoopTest, PositionsMayExceed4GiBAndChunkOffsets2GiB) {
    constexpr std::uint64_t kGiB = 1 << 30;
    ClipTrack track{.samples = {nal("near")}};
    track.boxes["stco"] = table_box("stco", 1, {0xC0000000});
    SparseInput file({{0, box_header(0, "mdat")},  // 2^32 - 8 bytes follow
                      {3 * kGiB, nal("afar")},
                      {4 * kGiB, box_header(1, "free") + be64(kGiB)},
                      {5 * kGiB, make_clip(track)}});
    EXPECT_EQ(convert(file).frames.at(0).bytes, in_frame("afar"));
}

TEST(FrameLoopTest, FewBytesOfLargeSamplesAreMovedInTheWindow) {
    for (const std::size_t size :
         {5'000U, 16'000U, 25'000U, 60'000U, 90'000U, 140'000U, 200'000U, 300'000U}) {
        for (const std::size_t samples_per_chunk : {1U, 7U, 30U}) {
            ClipTrack track{.samples = std::vector<std::string>(210, nal(std::string(size - 4, 'x')))};
            track.chunks = std::vector<std::size_t>(210 / samples_per_chunk, samples_per_chunk);
            CountingInput file(make_clip(track), size);
            BoxReader in(&file);
            const auto tracks = gather_tracks(in, [](const std::string&) {});
            in.clear();
            file.moved = 0;
            std::size_t frames = 0;
            (void)convert_track(tracks.at(0), in, 0, 1, [&](const Frame&) { return ++frames > 0; });
            EXPECT_EQ(frames, 210U);
            EXPECT_LT(file.moved, 210 * size / 20) << size << " in chunks of " << samples_per_chunk;
        }
    }
}

TEST(FrameLoopTest, FrameIsNeverLargerThanTheClip) {
    ClipTrack track{.samples = {nal("abcd"), "", nal("efgh")}};
    EXPECT_EQ(convert(make_clip(track)).frames.at(1).bytes, "");
    track.boxes["stsz"] = box("stsz", zeros(4) + be32(0xFFFFFFFF) + be32(2));
    EXPECT_EQ(convert(make_clip(track)).end, TrackResult::kBadFrame);
    track.boxes["stsz"] = box("stsz", zeros(4) + be32(8) + be32(2));
    EXPECT_EQ(convert(make_clip(track)).frames.size(), 2U);
}
