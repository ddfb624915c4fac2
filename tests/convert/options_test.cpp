// The options parameter_sets, sample_times and all_clips, each on and off.

#include "tests/convert/convert_test.h"

namespace {

const std::string kSequenceSet = from_hex("67 42 00 1E AA");
const std::string kPictureSet = from_hex("68 CE 3C 80");
const std::string kSets = in_frame(kSequenceSet) + in_frame(kPictureSet);
const std::string kSlice = from_hex("65 88");
const std::string kOther = from_hex("41 9A");

/// Three key frames, of which the second has parameter sets of its own. The frames last 40, 25 and 35 ms.
ClipTrack camera() {
    return {.samples = {nal(kSlice), nal(kOther), nal(kSequenceSet) + nal(kPictureSet) + nal(kSlice),
                        nal(kSlice)},
            .sync = {{1, 3, 4}},
            .times = TrackTimes{.time_scale = 1000, .durations = {40, 25, 35, 100}},
            .sets = AvcSets{.sequence = {kSequenceSet}, .picture = {kPictureSet}}};
}

/// Sound with eight samples and an entry that is long enough for the walk.
ClipTrack sound() {
    return {.samples = std::vector<std::string>(8, "sound"),
            .format = "mp4a",
            .times = TrackTimes{
                .time_scale = 8000, .durations = std::vector<std::uint32_t>(8, 200), .handler = "soun"}};
}

class OptionsTest : public ConvertTest {
  protected:
    /// The seconds of the recording's frames.
    std::vector<std::string> times() const {
        const ParsedRecording view = recording();
        std::vector<std::string> all;
        for (std::size_t i = 0; i < view.entries.size(); ++i) all.push_back(view.time(i).substr(17));
        return all;
    }
    const Clip sound_first{.tracks = {sound(), camera()}, .duration = 200};
};

}  // namespace

TEST_F(OptionsTest, ParameterSetsPrecedeKeyFramesWithoutTheirOwn) {
    EXPECT_EQ(convert(make_clip(camera())), norvane::kConverted);
    const auto before = recording().payloads();
    const std::string events_before = events;
    const auto times_before = times();
    EXPECT_EQ(before.at(0), in_frame(kSlice));
    options.parameter_sets = true;
    EXPECT_EQ(convert(make_clip(camera())), norvane::kConverted);
    EXPECT_EQ(recording().fault(), "");
    EXPECT_EQ(recording().payloads(),
              (std::vector{kSets + before[0], before[1], before[2], kSets + before[3]}));
    EXPECT_EQ(times(), times_before);
    EXPECT_EQ(events, events_before);
}

TEST_F(OptionsTest, ParameterSetsOfEachDescriptionAreUsedAndGrowthIsLimited) {
    options.all_clips = options.parameter_sets = true;
    ClipTrack track = camera();
    const std::string one = make_clip(track);
    const auto entry = [&](const std::string& picture_set) {
        track.sets->picture = {picture_set};
        const std::string clip = make_clip(track);
        return clip.substr(clip.find("stsd") + 12, clip.find("stts") - 4 - clip.find("stsd") - 12);
    };
    track.boxes["stsd"] = box("stsd", zeros(4) + be32(2) + entry(kPictureSet) + entry("second"));
    track.boxes["stsc"] = table_box("stsc", 2, {1, 3, 1, 2, 1, 2});
    track.chunks = {3, 1};
    EXPECT_EQ(convert(make_clip(track)), norvane::kConverted);
    EXPECT_EQ(recording().payloads().at(0), kSets + in_frame(kSlice));
    EXPECT_EQ(recording().payloads().at(3), in_frame(kSequenceSet) + in_frame("second") + in_frame(kSlice));

    ClipTrack hostile = camera();
    hostile.samples.assign(2'000, nal(kSlice));
    hostile.sync.reset();
    hostile.times->durations.assign(2'000, 1);
    hostile.sets->sequence = {std::string(30'000, 's')};
    const std::string clip = make_clip(hostile);
    EXPECT_EQ(convert(clip), norvane::kConverted);
    EXPECT_EQ(recording().entries.size(), 2'000U);
    EXPECT_LT(files.at(kRecording).size(), 20 * clip.size());
}

TEST_F(OptionsTest, FramesHaveTheTimesOfTheirOwnTrack) {
    EXPECT_EQ(convert(make_clip(sound_first)), norvane::kConverted);
    EXPECT_EQ(times(), (std::vector<std::string>{"09.000", "09.025", "09.049", "09.075"}));
    const auto payloads = recording().payloads();
    options.sample_times = true;
    EXPECT_EQ(convert(make_clip(sound_first)), norvane::kConverted);
    EXPECT_EQ(times(), (std::vector<std::string>{"09.000", "09.040", "09.065", "09.100"}));
    EXPECT_EQ(recording().payloads(), payloads);

    Clip edited = sound_first;
    edited.tracks[1].times->edits = {{500, -1}, {1000, 40}};  // half a second later, without the first frame
    EXPECT_EQ(convert(make_clip(edited)), norvane::kConverted);
    EXPECT_EQ(times(), (std::vector<std::string>{"09.460", "09.500", "09.525", "09.560"}));
    request.startSeconds = 0;
    edited.tracks[1].times->edits = {{1000, 40}};
    files.put("clip.mp4", make_clip(edited));
    EXPECT_EQ(norvane::Mp4Parser(request, context()).parse_container(), norvane::kConverted);  // before 1970
}

TEST_F(OptionsTest, TrackWithoutATimeScaleKeepsTheDefaultTimes) {
    const std::string clip = make_clip(three_frames());
    EXPECT_EQ(convert(clip), norvane::kConverted);
    const auto expected = times();
    options = {.parameter_sets = true, .sample_times = true, .all_clips = true};
    EXPECT_EQ(convert(clip), norvane::kConverted);
    EXPECT_EQ(times(), expected);
}

TEST_F(OptionsTest, OtherOptionsAcceptTheSameClipsAsTheDefault) {
    ClipTrack short_sound = sound();
    short_sound.entry_bytes = 36;
    ClipTrack hevc = camera();
    hevc.format = "hvc1";
    ClipTrack long_offsets = camera();
    long_offsets.order.back() = "co64";
    for (const Clip& clip : {Clip{.tracks = {camera()}}, sound_first, Clip{.tracks = {short_sound, camera()}},
                             Clip{.tracks = {camera(), hevc}}, Clip{.tracks = {long_offsets}},
                             Clip{.tracks = {camera()}, .fragments = Fragments{}}}) {
        options = {};
        const std::int32_t result = convert(make_clip(clip));
        const std::string expected = events;
        options = {.parameter_sets = true, .sample_times = true};
        EXPECT_EQ(convert(make_clip(clip)), result);
        EXPECT_EQ(events, expected);
    }
}

TEST_F(OptionsTest, AllClipsConvertsH264InEveryForm) {
    ClipTrack short_sound = sound();
    short_sound.entry_bytes = 36;
    ClipTrack long_offsets = camera();
    long_offsets.order.back() = "co64";
    ClipTrack two_sets = camera();
    two_sets.sets->sequence.push_back(std::string(300, 's'));
    ClipTrack avc3 = camera();
    avc3.format = "avc3";
    EXPECT_EQ(convert(make_clip(camera())), norvane::kConverted);
    const auto payloads = recording().payloads();
    const auto by_default = times();
    const std::vector<std::string> unknown_duration = {"09.000", "09.065", "09.130", "09.194"};
    for (const Clip& clip :
         {Clip{.tracks = {camera()}}, Clip{.tracks = {short_sound, camera()}}, Clip{.tracks = {long_offsets}},
          Clip{.tracks = {two_sets}}, Clip{.tracks = {avc3}},
          Clip{.tracks = {camera()}, .in_front = box("meta", zeros(4) + box("hdlr", zeros(25)))},
          Clip{.tracks = {camera()}, .fragments = Fragments{}}}) {
        options = {.all_clips = true};
        EXPECT_EQ(convert(make_clip(clip)), norvane::kConverted) << events;
        EXPECT_EQ(recording().fault(), "");
        EXPECT_EQ(recording().payloads(), payloads);
        EXPECT_EQ(times(), clip.fragments ? unknown_duration : by_default);
        options.sample_times = true;
        EXPECT_EQ(convert(make_clip(clip)), norvane::kConverted);
        EXPECT_EQ(times(), (std::vector<std::string>{"09.000", "09.040", "09.065", "09.100"}));
    }
}

TEST_F(OptionsTest, AllClipsConvertsOnlyH264) {
    ClipTrack hevc = camera();
    hevc.format = "hvc1";
    const Clip clip{.tracks = {sound(), hevc}};
    EXPECT_EQ(convert(make_clip(clip)), norvane::kConverted);  // as if it were H.264
    options.all_clips = true;
    expect(make_clip(clip), norvane::kNotConverted,
           "25 Parsing mp4 container - clip.mp4.\n"
           "75 No H.264 video in mp4 container - clip.mp4 contains mp4a, hvc1.\nremove clip.mp4\n");
    expect(make_clip(Clip{}), norvane::kNotConverted,
           "25 Parsing mp4 container - clip.mp4.\n75 No sample tables found in mp4 container.\nremove "
           "clip.mp4\n");
    files.unopenable = {"clip.mp4"};
    EXPECT_EQ(convert(make_clip(clip)), norvane::kNotConverted);
    files.unopenable = {};
    const std::string cut = make_clip(Clip{.tracks = {hevc, camera()}});
    EXPECT_EQ(convert(cut.substr(0, cut.size() - 1)), norvane::kBadTables);
    EXPECT_EQ(recording().entries.size(), 3U);
}
