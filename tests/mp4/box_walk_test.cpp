#include "mp4/box_walk.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/clips.h"
#include "tests/support/memory_files.h"

namespace {

struct Walk {
    std::vector<SampleTables> tracks;
    std::vector<std::string> unknown;
};

Walk walk(const std::string& clip) {
    MemoryInput file(clip);
    BoxReader in(&file);
    Walk result;
    result.tracks = gather_tracks(in, [&](const std::string& type) { result.unknown.push_back(type); });
    return result;
}

std::size_t tracks_in(const std::string& clip) {
    return walk(clip).tracks.size();
}

/// Tracks are distinguished by their number of samples.
ClipTrack track_of(std::size_t samples) {
    return {.samples = std::vector<std::string>(samples, nal("unit"))};
}

/// The payload of a track's sample table box.
std::string tables_of(std::size_t samples) {
    const std::string clip = make_clip(Clip{.tracks = {track_of(samples)}, .duration = {}});
    const std::size_t from = clip.find("stbl") + 4;
    return clip.substr(from, clip.find("mdat") - 4 - from);
}

using Unknown = std::vector<std::string>;
using Numbers = std::vector<std::uint32_t>;

}  // namespace

TEST(BoxWalkTest, OnlyAFileThatBeginsWithAFileTypeBoxIsAnMp4) {
    const std::pair<std::string, bool> files[] = {
        {"xxxxftyp", true},      {"xxxxftyP", false}, {"xxxxfty", false},
        {"RIFFxxxxAVI ", false}, {"ftypxxxx", false}, {"", false},
    };
    for (const auto& [bytes, expected] : files) {
        MemoryInput file(bytes);
        BoxReader in(&file);
        EXPECT_EQ(is_mp4(in), expected) << bytes;
    }
}

TEST(BoxWalkTest, EachTrackHasItsOwnTablesAndTheFirstHasTheMovieHeader) {
    ClipTrack first = track_of(3);
    first.sync = {1, 3};
    ClipTrack second = track_of(2);
    second.chunks = {1, 1};
    second.width = 320;
    const Walk found = walk(make_clip(Clip{.tracks = {first, second}}));
    ASSERT_EQ(found.tracks.size(), 2U);
    EXPECT_EQ(found.tracks[0].sample_sizes.size(), 3U);
    EXPECT_EQ(found.tracks[0].sync_samples, (Numbers{1, 3}));
    EXPECT_EQ(found.tracks[0].movie_headers.size(), 1U);
    EXPECT_EQ(found.tracks[1].chunk_offsets.size(), 2U);
    EXPECT_EQ(found.tracks[1].sample_descriptions.at(0).width, 320);
    EXPECT_TRUE(found.tracks[1].sync_samples.empty() && found.tracks[1].movie_headers.empty());
    EXPECT_EQ(found.unknown, Unknown{});
}

TEST(BoxWalkTest, TrackIsCompleteWithFiveTablesInAnyOrder) {
    ClipTrack track = track_of(2);
    track.order = {"stco", "stss", "stsz", "stsc", "stts", "stsd"};
    EXPECT_EQ(tracks_in(make_clip(track)), 1U);
    EXPECT_EQ(tracks_in(tables_of(4)), 1U);  // no container is needed
    for (const char* missing : {"stsd", "stts", "stsc", "stsz", "stco"}) {
        ClipTrack lacking = track_of(2);
        lacking.boxes[missing] = "";
        EXPECT_EQ(tracks_in(make_clip(lacking)), 0U) << missing;
    }
}

TEST(BoxWalkTest, SyncSamplesAfterACompleteTrackGoToTheNextTrack) {
    ClipTrack late = track_of(3);
    late.order = {"stsd", "stts", "stsc", "stsz", "stco", "stss"};
    late.sync = {3};
    const Walk carried = walk(make_clip(Clip{.tracks = {late, track_of(2)}}));
    ASSERT_EQ(carried.tracks.size(), 2U);
    EXPECT_TRUE(carried.tracks[0].sync_samples.empty());
    EXPECT_EQ(carried.tracks[1].sync_samples, Numbers{3});
    ClipTrack with_own = track_of(2);
    with_own.sync = {1};
    EXPECT_EQ(walk(make_clip(Clip{.tracks = {late, with_own}})).tracks.at(1).sync_samples, Numbers{1});
    with_own.sync.emplace();  // an empty table replaces the carried one too
    EXPECT_EQ(walk(make_clip(Clip{.tracks = {late, with_own}})).tracks.at(1).sync_samples, Numbers{});

    ClipTrack lost = track_of(5);
    lost.order.back() = "co64";
    lost.sync = {1, 4};
    const Walk found = walk(make_clip(Clip{.tracks = {lost, track_of(2)}}));
    EXPECT_EQ(found.unknown, Unknown{"co64"});
    ASSERT_EQ(found.tracks.size(), 1U);
    EXPECT_EQ(found.tracks[0].sample_sizes.size(), 2U);
    EXPECT_EQ(found.tracks[0].sync_samples, (Numbers{1, 4}));
}

TEST(BoxWalkTest, UnknownBoxesAreSkippedAndTheirTypesReportedUpToAZeroByte) {
    const std::string odd = box(std::string("a\0bc", 4), "xx") + box(zeros(4), "x") + box("stz2", "") +
                            large_box("uuid", "twelve bytes") + box("xy\xFFz", "payload");
    const Walk found = walk(odd + tables_of(1));
    EXPECT_EQ(found.unknown, (Unknown{"a", "", "stz2", "uuid", "xy\xFFz"}));
    EXPECT_EQ(found.tracks.size(), 1U);
}

TEST(BoxWalkTest, EveryKnownTypeIsEnteredOrSkipped) {
    std::string all = box("drm ", box("indr", "")) + box("xml ", box("inxm", ""));
    Unknown inside = {"indr", "inxm"};  // one child per entered box
    std::istringstream containers(
        "pdin moov moof mfra meta meco styp prft trak tref edts mdia minf dinf stbl ipro sinf traf bxml");
    for (std::string name; containers >> name; inside.push_back("in" + name.substr(2)))
        all += box(name, box("in" + name.substr(2), ""));
    std::istringstream others(
        "skip free mdat tkhd trgr elst mdhd elng vmhd smhd hmhd sthd nmhd ctts cslg padb mvex sdtp sbgp mehd "
        "trex leva mfhd tfhd trun sgpd subs saiz saio tfdt tfra mfro cprt tsel udta hdlr dref iloc frma schm "
        "schi iinf pitm fiin fire fpar fecr segr gitn idat iref mere sidx ssix rdrf");
    for (std::string name; others >> name;) all += box(name, box("none", ""));
    EXPECT_EQ(walk(all).unknown, inside);
}

TEST(BoxWalkTest, SizeOfAContainerIsIgnored) {
    EXPECT_EQ(tracks_in(large_box("moov", tables_of(1))), 1U);
    for (const std::size_t size : {0U, 3U, 8U, 0xFFFFFFF0U})
        EXPECT_EQ(tracks_in(box_header(size, "moov") + tables_of(1)), 1U) << size;
}

TEST(BoxWalkTest, BoxesWithASizeTooSmallOrTooLargeExtendToTheEnd) {
    for (const std::size_t size : {0U, 2U, 7U, 0xFFFFFFFFU}) {
        EXPECT_EQ(tracks_in(tables_of(1) + box_header(size, "mdat") + tables_of(1)), 1U) << size;
    }
    for (const std::uint64_t size :
         std::initializer_list<std::uint64_t>{0, 15, 1ULL << 63, kNever, kNever - 15}) {
        EXPECT_EQ(tracks_in(box_header(1, "mdat") + be64(size) + tables_of(1)), 0U) << size;
    }
    EXPECT_EQ(tracks_in(box_header(1, "mdat") + be64(16) + tables_of(1)), 1U);
    EXPECT_EQ(tracks_in(box_header(8, "mdat") + tables_of(1)), 1U);
    for (const char* type : {"mvhd", "stsd", "stts", "stss", "stsc", "stsz"})
        EXPECT_EQ(tracks_in(box_header(0, type) + tables_of(1)), 0U) << type;
    EXPECT_EQ(tracks_in(box_header(0, "stco") + tables_of(1)), 1U);  // only this type is then an empty box
}

TEST(BoxWalkTest, BrandIsReadEvenIfTheFileTypeBoxIsEmpty) {
    EXPECT_EQ(tracks_in(box("ftyp", "") + zeros(4) + tables_of(1)), 1U);
    EXPECT_EQ(tracks_in(box("ftyp", "") + tables_of(1)), 0U);
    EXPECT_EQ(tracks_in(box("ftyp", "isommore brands") + tables_of(1)), 1U);
}

TEST(BoxWalkTest, MetaBoxWithAVersionFieldEndsTheWalk) {
    const Walk found = walk(tables_of(3) + box("meta", zeros(4) + box("hdlr", zeros(20))) + tables_of(2));
    EXPECT_EQ(found.tracks.size(), 1U);
    EXPECT_EQ(found.unknown, Unknown{""});  // the child's size is read as a type; its first byte is zero
    EXPECT_EQ(tracks_in(box("meta", box("hdlr", "")) + tables_of(2)), 1U);
}

TEST(BoxWalkTest, WalkContinuesWhereAReaderStoppedPastItsBox) {
    ClipTrack audio = track_of(4);
    audio.format = "mp4a";
    EXPECT_EQ(tracks_in(make_clip(Clip{.tracks = {audio, track_of(2)}})), 2U);
    audio.entry_bytes = 36;  // reading the entry also consumes the header of "stts"
    EXPECT_EQ(tracks_in(make_clip(Clip{.tracks = {track_of(2), audio}})), 1U);
    audio.order.insert(audio.order.begin() + 1, "fill");  // 50 bytes that may be consumed
    audio.boxes["fill"] = zeros(50);
    EXPECT_EQ(tracks_in(make_clip(Clip{.tracks = {audio, track_of(2)}})), 2U);
}
