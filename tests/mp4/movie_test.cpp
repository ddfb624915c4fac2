// The careful reader, on clips that the box walk refuses or reads with wrong times.

#include "mp4/movie.h"

#include <gtest/gtest.h>

#include "mp4/movie_frames.h"
#include "mp4/parameter_sets.h"
#include "tests/support/clips.h"
#include "tests/support/memory_files.h"

namespace {

/// The samples of a clip's H.264 track in decoding order: "K0+40 first" is a key frame at 0 that lasts 40
/// ticks.
struct Conversion {
    std::vector<std::string> frames;
    TrackResult end = TrackResult::kDone;
    bool has_track = false;
};

Conversion convert(platform::InputFile& file) {
    BoxReader in(&file);
    const Movie movie = read_movie(in);
    in.clear();
    Conversion done;
    const MovieTrack* const track = movie.h264_track();
    if (track == nullptr) return done;
    done.has_track = true;
    done.end = convert_movie_track(movie, *track, in, [&](const Frame& frame, const MovieSample& sample) {
        const std::string bytes(frame.bytes.begin(), frame.bytes.end());
        EXPECT_TRUE(bytes.empty() || bytes.starts_with(in_frame("")));
        done.frames.push_back((sample.key_frame ? "K" : "") + std::to_string(sample.time) + "+" +
                              std::to_string(sample.duration) + " " +
                              bytes.substr(std::min<std::size_t>(bytes.size(), 4)));
        return done.frames.size() < 1'000;
    });
    return done;
}

Conversion convert(const std::string& clip) {
    MemoryInput file(clip);
    return convert(file);
}

std::vector<std::string> frames_of(const std::string& clip) {
    const Conversion done = convert(clip);
    EXPECT_EQ(done.end, TrackResult::kDone);
    return done.frames;
}

const std::string kSequenceSet = from_hex("67 42 00 1E AA");
const std::string kPictureSet = from_hex("68 CE 3C 80");

/// Five frames of different durations.
ClipTrack video() {
    return {.samples = {nal("one"), nal("two"), nal("three"), nal("four"), nal("five")},
            .sync = {{1, 4}},
            .chunks = {2, 2, 1},
            .times = TrackTimes{.time_scale = 600, .durations = {20, 20, 30, 20, 40}},
            .sets = AvcSets{.sequence = {kSequenceSet}, .picture = {kPictureSet}}};
}
const std::vector<std::string> kFrames = {"K0+20 one", "20+20 two", "40+30 three", "K70+20 four",
                                          "90+40 five"};

/// A sound track whose sample entry is shorter than a visual one.
ClipTrack sound() {
    return {.samples = {"aa", "bbbb", "c"},
            .format = "mp4a",
            .entry_bytes = 36,
            .times = TrackTimes{.time_scale = 48'000, .durations = {1024, 1024, 1024}, .handler = "soun"}};
}

const SampleDescription& description_of(const Movie& movie) {
    return movie.h264_track()->descriptions.front();
}

Movie movie_of(const std::string& clip) {
    MemoryInput file(clip);
    BoxReader in(&file);
    return read_movie(in);
}

std::string text_of(const std::vector<platform::Byte>& bytes) {
    return {bytes.begin(), bytes.end()};
}

}  // namespace

TEST(MovieTest, BoxesMayComeInAnyOrderAndHaveAnySize) {
    ClipTrack other_order = video();
    other_order.order = {"co64", "stsz", "stsc", "stts", "stss", "stsd"};
    const std::string meta = box("meta", zeros(4) + box("hdlr", zeros(25)));
    for (const Clip& clip : {Clip{.tracks = {video()}}, Clip{.tracks = {other_order}, .media_in_front = true},
                             Clip{.tracks = {sound(), video()}, .long_media = true, .in_front = meta},
                             Clip{.tracks = {video(), sound()}, .duration = {}, .at_end = "trail"}}) {
        EXPECT_EQ(frames_of(make_clip(clip)), kFrames);
    }
    std::string to_end = make_clip(Clip{.tracks = {video()}});
    to_end.replace(to_end.find("mdat") - 4, 4, zeros(4));  // size 0: up to the end of the file
    EXPECT_EQ(frames_of(to_end), kFrames);
    std::string short_box = make_clip(Clip{.tracks = {video()}, .media_in_front = true});
    short_box.insert(short_box.find("moov") - 4, from_hex("00000004"));  // ends within its own header
    EXPECT_FALSE(convert(short_box).has_track);
}

TEST(MovieTest, ChunkOffsetsMayExceed4GiB) {
    ClipTrack track = video();
    track.samples = {nal("far")};
    track.chunks = {};
    track.times->durations = {20};
    track.order.back() = "co64";
    track.boxes["co64"] = table_box("co64", 1, {1, 0x40000000});
    SparseInput file(
        {{0, make_clip(track)}, {5ULL << 30, nal("away")}});  // the table's size is that of "far"
    track.samples = {nal("away")};
    SparseInput fitting({{0, make_clip(track)}, {5ULL << 30, nal("away")}});
    EXPECT_EQ(convert(file).end, TrackResult::kBadFrame);
    EXPECT_EQ(convert(fitting).frames, std::vector<std::string>{"K0+20 away"});
}

TEST(MovieTest, SampleSizesMayBeCompact) {
    ClipTrack track = video();
    for (const char* const sizes : {"04 00000005 77 98 80", "08 00000005 07 07 09 08 08",
                                    "10 00000005 0007 0007 0009 0008 0008", "04 FFFFFFFF 77 98 80"}) {
        track.boxes["stsz"] = box("stz2", zeros(7) + from_hex(sizes));
        EXPECT_EQ(frames_of(make_clip(track)), kFrames) << sizes;
    }
    const Movie movie = movie_of(make_clip(track));
    EXPECT_EQ(movie.track_at(movie.tracks[0].chunk_offsets[0]), nullptr);  // not a track of the other reader
    ClipTrack both = video();
    both.boxes["stz2"] = box("stz2", zeros(7) + from_hex("04 00000005 11 11 10"));
    for (const bool last : {false, true}) {
        both.order = video().order;
        both.order.insert(last ? both.order.end() : both.order.begin(), "stz2");
        EXPECT_EQ(frames_of(make_clip(both)), kFrames) << last;
    }
}

TEST(MovieTest, FirstEnabledH264TrackIsConverted) {
    ClipTrack disabled = video();
    disabled.times->enabled = false;
    disabled.samples[0] = nal("xyz");
    ClipTrack hevc = video();
    hevc.format = "hvc1";
    EXPECT_EQ(frames_of(make_clip(Clip{.tracks = {hevc, sound(), disabled, video()}})), kFrames);
    EXPECT_EQ(frames_of(make_clip(Clip{.tracks = {sound(), disabled}})).at(0), "K0+20 xyz");
    ClipTrack auxiliary = video();
    auxiliary.times->handler = "auxv";
    const std::string without = make_clip(Clip{.tracks = {sound(), hevc, sound(), auxiliary}});
    EXPECT_FALSE(convert(without).has_track);
    EXPECT_EQ(movie_of(without).codings(), "mp4a, hvc1, avc1");
    hevc.format = "h\x01v\xFF";
    EXPECT_EQ(movie_of(make_clip(hevc)).codings(), "h?v?");
}

TEST(MovieTest, DescriptionHasAllParameterSetsAndTheLengthSize) {
    ClipTrack track = video();
    track.format = "avc3";
    track.sets = AvcSets{.sequence = {kSequenceSet, "second"},
                         .picture = {kPictureSet, "", "third"},
                         .boxes_ahead = box("pasp", zeros(8)) + box("colr", zeros(11)) +
                                        box("avcC", from_hex("01 42 00 1E FF E1 0001 67 00"))};  // replaced
    Movie movie = movie_of(make_clip(track));
    EXPECT_EQ(text_of(description_of(movie).parameter_sets),
              in_frame(kSequenceSet) + in_frame("second") + in_frame(kPictureSet) + in_frame("third"));
    EXPECT_EQ(description_of(movie).width, 64);
    EXPECT_EQ(description_of(movie).height, 48);
    std::string cut = make_clip(track);
    cut.replace(cut.find("third") - 2, 2, from_hex("0006"));  // longer than its box
    EXPECT_EQ(text_of(description_of(movie_of(cut)).parameter_sets),
              in_frame(kSequenceSet) + in_frame("second") + in_frame(kPictureSet));
    for (std::uint8_t size = 1; size < 4; ++size) {
        track = video();
        track.sets->length_size = size;
        for (std::string& sample : track.samples) sample.erase(0, 4U - size);
        EXPECT_EQ(frames_of(make_clip(track)), kFrames) << int{size};
        track.samples.back().pop_back();
        EXPECT_EQ(convert(make_clip(track)).end, TrackResult::kBadFrame);
    }
}

TEST(MovieTest, FramesHavePresentationTimesInAscendingOrder) {
    ClipTrack track = video();
    // Displayed as one, three, two, five, four; the first picture is delayed by 20.
    track.times->durations = {20, 20, 20, 30, 20};
    track.times->compositions = {20, 40, 0, 60, 10};
    EXPECT_EQ(frames_of(make_clip(track)), (std::vector<std::string>{"K20+20 one", "40+20 two", "60+20 three",
                                                                     "K100+30 four", "120+20 five"}));
    track.times->edits = {{1000, 20}};
    const std::vector<std::string> edited = {"K0+20 one", "20+20 two", "40+20 three", "K80+30 four",
                                             "100+20 five"};
    EXPECT_EQ(frames_of(make_clip(track)), edited);
    track.times->edits = {{1000, 5}};  // begins before the first picture
    EXPECT_EQ(frames_of(make_clip(track)), edited);
    track.times->long_edits = true;
    track.times->edits = {{250, -1}, {250, -1}, {1000, 70}};  // begins between pictures, after half a second
    EXPECT_EQ(frames_of(make_clip(track)).at(3), "K300+30 four");
    EXPECT_EQ(frames_of(make_clip(track)).at(0), "K220+20 one");
}

TEST(MovieTest, FragmentsAreReadWithAllKindsOfOffsetsAndDefaults) {
    using Base = Fragments::Base;
    for (const Base base : {Base::kFragment, Base::kFile, Base::kPrevious}) {
        for (const std::size_t samples : {1U, 2U, 5U}) {
            for (const std::optional<std::uint64_t> first :
                 {std::optional<std::uint64_t>(0), {1'000'000}, {}}) {
                SCOPED_TRACE(testing::Message() << int(base) << " " << samples << " " << first.value_or(7));
                Clip clip{.tracks = {sound(), video()},
                          .fragments = Fragments{.samples = samples, .base = base, .first_time = first}};
                EXPECT_EQ(frames_of(make_clip(clip)), kFrames);
                clip.fragments->defaults = true;
                for (ClipTrack& track : clip.tracks) {
                    track.samples.resize(5, track.samples[0]);
                    for (std::string& sample : track.samples) sample.resize(7, 'x');
                    track.times->durations.assign(5, 25);
                }
                clip.tracks[1].samples = {nal("one"), nal("two"), nal("3rd"), nal("4th"), nal("5th")};
                for (int i = 0; i < 2; ++i) {
                    EXPECT_EQ(frames_of(make_clip(clip)),
                              (std::vector<std::string>{"K0+25 one", "25+25 two", "50+25 3rd", "K75+25 4th",
                                                        "100+25 5th"}));
                    std::swap(clip.tracks[0], clip.tracks[1]);  // defaults in the other box
                }
            }
        }
    }
}

TEST(MovieTest, FragmentsHaveCompositionOffsetsAndFollowTheMovie) {
    ClipTrack track = video();
    track.times->durations = {20, 20, 20, 30, 20};
    track.times->compositions = {20, 40, -20, 60, 10};
    track.times->edits = {{1000, 5}};
    const Clip clip{.tracks = {track}, .fragments = Fragments{}};
    EXPECT_EQ(frames_of(make_clip(clip)).at(0), "K15+20 one");
    EXPECT_EQ(frames_of(make_clip(clip)).at(2), "55+20 three");
}

TEST(MovieTest, IncompleteClipsEndWithABadFrameAfterTheirFrames) {
    const std::string whole = make_clip(Clip{.tracks = {video()}});
    const Conversion cut = convert(whole.substr(0, whole.size() - 1));
    EXPECT_EQ(cut.end, TrackResult::kBadFrame);
    EXPECT_EQ(cut.frames.size(), 4U);
    const std::string fragments = make_clip(Clip{.tracks = {video()}, .fragments = Fragments{}});
    const std::size_t second = fragments.find("moof", fragments.find("moof") + 4);
    const Conversion half = convert(fragments.substr(0, second + 60));
    EXPECT_EQ(half.end, TrackResult::kBadFrame);
    EXPECT_EQ(half.frames.size(), 2U);
}

TEST(MovieTest, LargeSamplesAreReadFromAnyChunks) {
    ClipTrack track = video();
    for (std::size_t i = 0; i < 5; ++i) track.samples[i] = nal(unit_of(60'000 * (i + 1)));
    for (const std::vector<std::size_t>& chunks : {std::vector<std::size_t>{5}, {1, 1, 1, 1, 1}, {2, 3}}) {
        track.chunks = chunks;
        const auto frames = frames_of(make_clip(track));
        ASSERT_EQ(frames.size(), 5U);
        for (std::size_t i = 0; i < 5; ++i)
            EXPECT_TRUE(frames[i].ends_with(" " + unit_of(60'000 * (i + 1)))) << i;
    }
}

TEST(MovieTest, CountsThatExceedTheClipEndInTimeProportionalToIt) {
    ClipTrack track = video();
    track.boxes["stsc"] = table_box("stsc", 1, {1, 0xFFFFFFFF, 1});
    track.boxes["stsz"] = box("stsz", zeros(4) + be32(1) + be32(0xFFFFFFFF));
    EXPECT_EQ(convert(make_clip(track)).end, TrackResult::kBadFrame);
    track.times->edits = {{1, 0x7FFFFFFF}};  // the search for its first picture ends, too
    EXPECT_EQ(convert(make_clip(track)).end, TrackResult::kBadFrame);
    // A run without fields needs no bytes for its samples, and empty samples need no data.
    const auto run = [](std::uint32_t size) {
        return box("moof", box("traf", box("tfhd", be32(0x10) + be32(1) + be32(size)) +
                                           box("trun", zeros(4) + be32(0xFFFFFFFF))));
    };
    Clip clip{.tracks = {video()}, .fragments = Fragments{}};
    for (const std::uint32_t size : {0U, 1U}) {
        clip.at_end = run(size);
        const Conversion done = convert(make_clip(clip));
        EXPECT_NE(done.end, TrackResult::kDone);
        EXPECT_LE(done.frames.size(), 1'000U);
    }
    const std::string boxes = make_clip(video());
    const std::string trak = boxes.substr(boxes.find("trak") - 4, boxes.find("mdat") - boxes.find("trak"));
    std::string many;
    for (int i = 0; i < 2'000; ++i) many += trak;
    EXPECT_LE(movie_of(box("moov", many)).tracks.size(), 256U);
}

TEST(ParameterSetsTest, AreInsertedAfterADelimiter) {
    const auto bytes = [](const std::string& text) { return platform::bytes_of(text); };
    const std::string sets = in_frame(kSequenceSet) + in_frame(kPictureSet);
    const std::string delimiter = in_frame(from_hex("09 10"));
    const std::string slice = in_frame(from_hex("65 88"));
    EXPECT_TRUE(h264::has_parameter_sets(bytes(delimiter + sets + slice)));
    for (const std::string& without : {delimiter + slice, in_frame(kSequenceSet) + slice, slice + sets,
                                       std::string(), from_hex("00 00 01")})
        EXPECT_FALSE(h264::has_parameter_sets(bytes(without))) << to_hex(without);
    std::vector<platform::Byte> frame;
    h264::put_parameter_sets(bytes(slice), bytes(sets), frame);
    EXPECT_EQ(text_of(frame), sets + slice);
    h264::put_parameter_sets(bytes(delimiter + slice), bytes(sets), frame);
    EXPECT_EQ(text_of(frame), delimiter + sets + slice);
    h264::put_parameter_sets(bytes(delimiter), bytes(sets), frame);
    EXPECT_EQ(text_of(frame), delimiter + sets);
}
