#include "tests/convert/convert_test.h"

namespace {

/// A clip with two tracks and every kind of box, small enough to be damaged at each of its bytes.
std::string small_clip() {
    ClipTrack video = three_frames();
    video.chunks = {2, 1};
    const ClipTrack audio{.samples = {"sound"}, .format = "mp4a"};
    return make_clip(Clip{.tracks = {video, audio}});
}

}  // namespace

TEST_F(ConvertTest, ClipCutAnywhereGivesItsWholeFramesOrNone) {
    ASSERT_EQ(convert(small_clip()), norvane::kConverted);
    const RecordingView whole = recording();
    const std::string clip = small_clip();
    std::size_t most = 0;
    for (const bool shorter_than_promised : {false, true}) {
        for (std::size_t length = 0; length < clip.size(); ++length) {
            files.remove_file(kRecording);
            files.input_ends_at = shorter_than_promised ? length : kNever;
            const std::int32_t result = convert(shorter_than_promised ? clip : clip.substr(0, length));
            EXPECT_FALSE(files.has("clip.mp4"));
            if (!files.has(kRecording)) {
                EXPECT_EQ(result, norvane::kNotConverted) << length;
                continue;
            }
            const RecordingView view = recording();
            ASSERT_EQ(view.fault(), "") << length;
            ASSERT_LE(view.entries.size(), whole.entries.size());
            for (std::size_t i = 0; i < view.entries.size(); ++i)
                ASSERT_EQ(view.payload(i), whole.payload(i)) << length;
            most = std::max(most, view.entries.size());
        }
    }
    EXPECT_EQ(most, 3U);  // cut inside the sound behind the frames
}

TEST_F(ConvertTest, ClipDamagedAnywhereEndsWithAResultAndASoundRecording) {
    const std::string clip = small_clip();
    for (std::size_t at = 0; at < 4 * clip.size(); ++at) {
        std::string damaged = clip;
        damaged[at / 4] = "\x00\x01\x7F\xFF"[at % 4];
        files.remove_file(kRecording);
        const std::int32_t result = convert(damaged);
        ASSERT_TRUE(result == 0 || result == 1 || result == 3) << at;
        EXPECT_FALSE(files.has("clip.mp4"));
        if (files.has(kRecording)) {
            ASSERT_EQ(recording().fault(), "") << at;
        }
    }
}
