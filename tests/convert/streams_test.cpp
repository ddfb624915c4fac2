#include "tests/convert/convert_test.h"

namespace {

using Payloads = std::vector<std::string>;

const Payloads kThreeFrames = {in_frame("first"), in_frame("second frame"), in_frame("third")};

}  // namespace

TEST_F(ConvertTest, MapHasPictureSizeAndInputNameInAllSlots) {
    request.inputName = "exactly thirty-two characters---";
    request.flags2 = 6;
    ClipTrack track = three_frames();
    track.width = 1920;
    track.height = 1080;
    ASSERT_EQ(convert(make_clip(track)), norvane::kConverted);
    const std::string data = files.at(kRecording);
    EXPECT_EQ(to_hex(data.substr(16 + 18, 4)), "06 00 00 00");  // program code
    for (std::size_t slot = 0; slot < 32; ++slot) {
        const std::string entry = data.substr(16 + 106 + 58 * slot, 58);
        const std::string digit(1, "0123456789ABCDEF"[slot % 16]);
        EXPECT_EQ(to_hex(entry.substr(0, 8)),
                  slot < 16 ? "85 D" + digit + " 00 36 78 43 FF FF" : "90 C" + digit + " 00 36 00 00 00 00");
        EXPECT_EQ(entry.substr(26), "exactly thirty-two characters---") << slot;
    }
    const std::string packet = recording().packet(0);
    EXPECT_EQ(to_hex(packet.substr(3, 1)), "D0");
    EXPECT_EQ(to_hex(packet.substr(27, 2)), "9D E0");  // recording kind and key frame; program code 2

    request.inputName = std::string(200, 'n');
    track.format = "mp4v";  // any format except audio is converted
    track.width = 65'535;
    track.height = 4'111;
    ASSERT_EQ(convert(make_clip(track)), norvane::kConverted);
    EXPECT_EQ(to_hex(files.at(kRecording).substr(16 + 106 + 4, 2)), "FF 00");  // truncated to 8 bits
    EXPECT_EQ(files.at(kRecording).substr(16 + 106 + 26, 33), std::string(32, 'n') + "\x85");
    EXPECT_EQ(recording().payloads(), kThreeFrames);
}

TEST_F(ConvertTest, SecondVideoTrackFollowsTheFirstAndRestartsAtTheClipsStart) {
    ClipTrack second{.samples = {nal("x"), nal("y")}, .sync = {{1}}};
    ASSERT_EQ(convert(make_clip(Clip{.tracks = {three_frames(), second}, .duration = 3'000})), 0);
    const ParsedRecording view = recording();
    EXPECT_EQ(view.fault(), "");
    EXPECT_EQ(view.payloads(),
              (Payloads{kThreeFrames[0], kThreeFrames[1], kThreeFrames[2], in_frame("x"), in_frame("y")}));
    EXPECT_EQ(view.time(2), "2018-06-22 16:05:11.000");
    EXPECT_EQ(view.time(3), "2018-06-22 16:05:09.000");
    EXPECT_EQ(view.time(4), "2018-06-22 16:05:10.000");  // a third of the movie, as in the first track
    EXPECT_EQ(view.entries[4].key_distance, 1U);
    EXPECT_EQ(view.spans.size(), 2U);  // the time goes backwards
}

TEST_F(ConvertTest, AudioIsNotConvertedButAsFirstTrackSetsDurationAndPictureSize) {
    ClipTrack audio{.samples = Payloads(6, "sound"), .format = "mp4a", .sync = {{2}}};
    ASSERT_EQ(convert(make_clip(Clip{.tracks = {three_frames(), audio}, .duration = 3'000})), 0);
    EXPECT_EQ(recording().payloads(), kThreeFrames);
    EXPECT_EQ(recording().time(1), "2018-06-22 16:05:10.000");
    EXPECT_EQ(recording().entries[1].key_distance, 1U);  // audio key frames do not count

    audio.width = 160;  // the bytes at this offset of an audio entry
    ASSERT_EQ(convert(make_clip(Clip{.tracks = {audio, three_frames()}, .duration = 3'000})), 0);
    EXPECT_EQ(recording().payloads(), kThreeFrames);
    EXPECT_EQ(recording().time(1), "2018-06-22 16:05:09.500");
    EXPECT_EQ(to_hex(files.at(kRecording).substr(16 + 106 + 4, 2)), "0A 03");

    ASSERT_EQ(convert(make_clip(audio)), norvane::kConverted);
    EXPECT_TRUE(recording().entries.empty());
    EXPECT_EQ(recording().fault(), "");

    ClipTrack both = three_frames();  // only the first description counts
    both.boxes["stsd"] = box("stsd", zeros(4) + be32(2) + zeros(86) + be32(86) + "mp4a" + zeros(78));
    ASSERT_EQ(convert(make_clip(both)), norvane::kConverted);
    EXPECT_EQ(recording().payloads(), kThreeFrames);
}

TEST_F(ConvertTest, PositionOfTheMediaDataAndFormOfItsSizeDoNotMatter) {
    Clip clip{.tracks = {three_frames()}, .in_front = box("free", "") + box("uuid", "vendor-specific data")};
    clip.tracks[0].chunks = {1, 2};
    for (const int form : {0, 1, 2, 3}) {
        clip.media_in_front = form % 2 == 1;
        clip.long_media = form / 2 == 1;
        ASSERT_EQ(convert(make_clip(clip)), norvane::kConverted);
        EXPECT_EQ(recording().payloads(), kThreeFrames);
    }
}

TEST_F(ConvertTest, FramesCrossMidnightAndMillisecondsAreTruncated) {
    request.startSeconds = 1'529'711'999;  // one second before
    const ClipTrack track = three_frames();
    const Clip clip{.tracks = {track, track}, .timescale = 10'000, .duration = 29'997};
    ASSERT_EQ(convert(make_clip(clip)), norvane::kConverted);
    const std::string path = "out/2018/06/22/23/5959-00A10380e.ps";
    const ParsedRecording view(files.at(path), files.at(path + "i"));
    EXPECT_EQ(view.fault(), "");
    EXPECT_EQ(view.time(0), "2018-06-22 23:59:59.000");
    EXPECT_EQ(view.time(1), "2018-06-22 23:59:59.999");  // .9999
    EXPECT_EQ(view.time(2), "2018-06-23 00:00:00.999");
    EXPECT_EQ(view.time(3), "2018-06-22 23:59:59.000");  // the second track is back on the first day
    EXPECT_EQ(view.spans.size(), 4U);
}
