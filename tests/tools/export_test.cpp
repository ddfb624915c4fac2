// norvanepi-ps export: an exported file must decode to the same pictures at the same times as the clip.

#include <gtest/gtest.h>
#include <cmath>
#include <cstdlib>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/byte_text.h"
#include "tests/support/shell_test.h"
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

class ExportTest : public ShellTest {
  protected:
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
        {"--size 96x66 --sets-in-header", "", " --parameter-sets clip.mp4"},  // cropped from 96x80
        {"--fps 50 --size 130x98 --key-every 7", "", ""},
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
    make_clip("--audio-first --sets-in-header");  // the picture size in the map is that of the sound
    ASSERT_EQ(ps("convert clip.mp4 --out sound --start 2018-06-22T10:00:00Z"), 0) << error();
    ASSERT_EQ(ps("export sound -o sound.mp4 --parameter-sets clip.mp4"), 0) << error();
    EXPECT_EQ(error(), "");
    EXPECT_EQ(pictures("sound.mp4"), pictures("clip.mp4"));
    make_clip("--sets-in-header");
    convert("23:59:59Z");
    ASSERT_EQ(run(MAKE_CLIP " small.mp4 --size 64x48 --sets-in-header"), 0);
    ASSERT_EQ(ps("export recordings --force -o o.mkv --parameter-sets small.mp4"), 0) << error();
    EXPECT_NE(error().find("of 64x48 pixels, the recording of another size"), std::string::npos) << error();
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

TEST_F(ExportTest, InfoDoesNotAdviseToExportWhatIsNotH264) {
    make_clip("", "-c:v libx265 -tag:v hvc1 -bsf:v null -x265-params log-level=none");
    convert("10:00:00Z");
    EXPECT_EQ(ps("info recordings"), 1);
    EXPECT_NE(read_file(directory / "out").find("no: the first frame of slot 0 is not H.264"),
              std::string::npos);
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

TEST_F(ExportTest, FilesBeginWithAKeyFrameAndKeepBothPictureSizes) {
    make_clip("--bframes 2 --key-every 10");
    const auto all = pictures("clip.mp4");
    ASSERT_EQ(run("ffmpeg -v error -i clip.mp4 -c copy -bsf:v 'noise=amount=0:drop=lt(n\\,5)' late.mp4"), 0);
    ASSERT_EQ(ps("convert late.mp4 --profile safe --out recordings --start 2018-06-22T10:00:00Z"), 0)
        << error();
    make_clip("--size 64x48 --key-every 25");
    convert("10:00:10Z");
    std::vector<std::string> expected(40, "96,64");
    expected.resize(90, "64,48");
    for (const std::string out : {"o.mp4", "o.mkv"}) {
        SCOPED_TRACE(out);
        ASSERT_EQ(ps("export recordings -o " + out), 0);
        EXPECT_NE(error().find("5 frames skipped: no preceding key frame"), std::string::npos) << error();
        EXPECT_EQ(lines_of("ffprobe -v error -show_entries frame=width,height -of csv=p=0 " + out +
                           " | grep -o '^[0-9]*,[0-9]*'"),
                  expected);
        const auto frames = shown(out);
        ASSERT_EQ(frames.size(), expected.size());
        EXPECT_TRUE(frames[0].key && frames[40].key);
        EXPECT_NEAR(frames[39].at, 39 * 0.04, 0.0011);
        EXPECT_NEAR(frames[40].at, 10 - 0.4, 0.0011);  // the clip's first key frame is its eleventh frame
    }
    ASSERT_EQ(ps("export recordings --force -o o.mkv --to 2018-06-22T10:00:05Z"), 0);
    EXPECT_EQ(pictures("o.mkv"), std::vector(all.begin() + 10, all.end()));
}

TEST_F(ExportTest, CamerasAreNotMixed) {
    make_clip("--key-every 10");
    convert("10:00:00Z", " --device 1 --name Yard");
    convert("10:00:10Z", " --device 2 --name 'Front gate'");
    convert("10:00:20Z", " --device 1 --name Yard");
    EXPECT_EQ(ps("export recordings -o o.mp4"), 2);
    EXPECT_NE(error().find(R"(2 cameras: 00000180 "Yard", 00000280 "Front gate"; choose)"), std::string::npos)
        << error();
    EXPECT_EQ(ps("export recordings -o o.mp4 --camera Gate"), 2);
    EXPECT_FALSE(boost::filesystem::exists(directory / "o.mp4"));

    ASSERT_EQ(ps("export recordings -o yard.mp4 --camera Yard"), 0) << error();
    const auto yard = shown("yard.mp4");
    ASSERT_EQ(yard.size(), 100U);
    EXPECT_NEAR(yard[50].at, 20, 0.0005);  // the gap has none of the other camera's pictures
    ASSERT_EQ(ps("export recordings -o gate.mp4 --camera 00000280"), 0) << error();
    EXPECT_EQ(shown("gate.mp4").size(), 50U);

    write_file(directory / "recordings/2018/06/22/10/0030-00000380e.ps", std::string(3'000, 'x'));
    EXPECT_EQ(ps("export recordings --output-dir all"), 1);  // nothing to export of the third
    EXPECT_NE(error().find("00000380 \"\": no key frames"), std::string::npos) << error();
    EXPECT_EQ(pictures("'all/00000180-Yard.mp4'"), pictures("yard.mp4"));
    EXPECT_EQ(pictures("'all/00000280-Front gate.mp4'"), pictures("gate.mp4"));

    convert("10:00:40Z", " --device 1 --name Garden");
    EXPECT_EQ(ps("export recordings/2018/06/22/10/00[024]0-00000180e.ps -o o.mkv"), 2);  // renamed
    ASSERT_EQ(ps("export recordings -o o.mkv --camera 00000180"), 0) << error();
    EXPECT_EQ(shown("o.mkv").size(), 150U);
    const std::string start = " --start 2018-06-22T10:00:40Z";
    // 257 has the clip id of 1, which has 8 bits of the device.
    ASSERT_EQ(ps("convert clip.mp4 --out other --device 257 --name Pond" + start), 0) << error();
    EXPECT_EQ(ps("export recordings other -o two.mkv --camera 00000180"), 2);
    EXPECT_NE(error().find("recorded at the same time; use a name"), std::string::npos) << error();
    EXPECT_EQ(ps("export recordings other -o two.mkv --camera Pond"), 0) << error();
}

TEST_F(ExportTest, GapsOfHoursAndMonthsHaveChapters) {
    make_clip("--bframes 2 --key-every 10");
    convert("10:00:00Z", " --name Gate");
    convert("19:00:00Z", " --name Gate");
    const std::vector<std::string> chapters = {
        "0.000000,2.000000,2018-06-22 10:00:00.000 UTC",
        "2.000000,32400.000000,\"2018-06-22 10:00:02.000 UTC, no recording for 8:59:58\"",
        "32400.000000,32402.000000,2018-06-22 19:00:00.000 UTC"};
    const std::string probe = "ffprobe -v error -of csv=p=0 ";
    for (const std::string out : {"o.mp4", "o.mkv"}) {
        SCOPED_TRACE(out);
        ASSERT_EQ(ps("export recordings -o " + out), 0) << error();
        const auto all = shown(out);
        ASSERT_EQ(all.size(), 100U);
        EXPECT_NEAR(all[49].at, 1.96, 0.0005);
        EXPECT_NEAR(all[50].at, 9 * 3600, 0.0005);
        EXPECT_EQ(lines_of(probe + "-show_entries chapter=start_time,end_time:chapter_tags=title " + out +
                           " | grep UTC"),
                  chapters);
        EXPECT_EQ(lines_of(probe + "-show_entries format=duration " + out)[0], "32402.000000");
        const std::string created = "2018-06-22T10:00:00.000000Z";
        const std::string texts = R"("Gate, 2018-06-22 10:00:00.000 UTC","camera 00000080 ""Gate""")";
        EXPECT_EQ(lines_of(probe + "-show_entries format_tags=title,comment,creation_time " + out)[0],
                  out == "o.mp4" ? created + "," + texts : texts + "," + created);
        EXPECT_EQ(
            lines_of(probe + "-select_streams v -show_entries stream_tags=handler_name,title " + out)[0],
            "Gate");
    }
    ASSERT_EQ(ps("convert clip.mp4 --out recordings --start 2018-08-22T19:00:00Z --name Gate"), 0);
    ASSERT_EQ(ps("export recordings --force -o o.mp4"), 0);
    EXPECT_NE(error().find("a gap of 61.0 days is shortened to 24.9 days"), std::string::npos) << error();
    EXPECT_NEAR(shown("o.mp4").back().at, 32401.96 + 2147483.646 + 1.96, 0.0005);
    ASSERT_EQ(ps("export recordings --force -o o.mkv"), 0);
    EXPECT_EQ(error(), "");
    EXPECT_NEAR(shown("o.mkv").back().at, 61 * 86'400 + 9 * 3'600 + 1.96, 0.0005);
}

TEST_F(ExportTest, OneFrameHasADurationAndMatroskaCanBePiped) {
    make_clip("--key-every 10");
    ASSERT_EQ(run("ffmpeg -v error -i clip.mp4 -c copy -frames:v 1 one.mp4"), 0);
    ASSERT_EQ(ps("convert one.mp4 --out one --start 2018-06-22T10:00:00Z"), 0) << error();
    for (const std::string out : {"o.mp4", "o.mkv"}) {
        ASSERT_EQ(ps("export one -o " + out), 0) << error();
        EXPECT_EQ(lines_of("ffprobe -v error -show_entries format=duration -of csv=p=0 " + out)[0],
                  "0.040000");
    }
    EXPECT_EQ(lines_of("ffprobe -v error -show_entries format_tags=title -of csv=p=0 o.mp4")[0],
              "\"00000080, 2018-06-22 10:00:00.000 UTC\"");  // without a name
    convert("10:00:00Z");
    ASSERT_EQ(run(NORVANEPI_PS " export recordings -o - --format mkv | cat >piped"), 0);
    expect_same_pictures_and_times("piped", "clip.mp4");
    EXPECT_EQ(ps("export recordings -o - --format mp4"), 2);
    EXPECT_EQ(ps("export recordings -o - --json"), 2);
    EXPECT_EQ(read_file(directory / "out"), "");
}

TEST_F(ExportTest, ManifestAndDocumentNameWhatWasExported) {
    make_clip("--key-every 10");
    convert("10:00:00Z", " --name Gate");
    convert("11:00:00Z", " --name Gate");
    const std::string range = " --to 2018-06-22T10:30:00Z";
    ASSERT_EQ(ps("export recordings --hash --json -o 'a\\b.mp4'" + range), 0) << error();
    EXPECT_EQ(run(CHECK_JSON " " SCHEMA " out"), 0);
    const std::string document = read_file(directory / "out");
    for (const char* const part : {R"("path":"a\\b.mp4")", R"("camera":{"id":"00000080","name":"Gate"})",
                                   R"("begin":"2018-06-22T10:00:00.000Z","end":"2018-06-22T10:00:02.000Z")"})
        EXPECT_NE(document.find(part), std::string::npos) << part << document;
    EXPECT_EQ(lines_of("sha256sum --check --strict 'a\\b.mp4.sha256' | sort"),
              (std::vector<std::string>{"a\\b.mp4: OK", "recordings/2018/06/22/10/0000-00000080e.ps: OK",
                                        "recordings/2018/06/22/10/0000-00000080e.psi: OK"}));
    EXPECT_EQ(ps("export recordings --hash -o 'a\\b.mp4'"), 2);  // both exist
    ASSERT_EQ(ps("export recordings --hash -o o.h264 --parameter-sets clip.mp4" + range), 0) << error();
    EXPECT_EQ(lines_of("sha256sum --check --strict o.h264.sha256").size(), 4U);
    write_file(directory / "o.h264", "changed");
    EXPECT_EQ(run("sha256sum --check --status o.h264.sha256"), 1);
}

TEST_F(ExportTest, FailedAndInterruptedExportsLeaveTheOldFile) {
    make_clip("--key-every 10");
    convert("10:00:00Z");
    const auto files = [&] {
        return lines_of("find . -type f -not -name lines -not -name out -not -name err | sort");
    };
    write_file(directory / "o.mp4", "old");
    write_file(directory / "o.mkv", "old");
    write_file(directory / "o.h264", "old");
    const auto before = files();
    for (const std::string out : {"o.mp4", "o.mkv", "o.h264", "new.mp4", "new.h264"}) {
        EXPECT_EQ(
            run("bash -c 'ulimit -f 4; " NORVANEPI_PS " export recordings --force -o " + out + " 2>err'"), 2);
        EXPECT_EQ(error(), "norvanepi-ps: error: " + out + ": cannot be written: File too large\n");
    }
    EXPECT_EQ(run("bash -c 'ulimit -f 4; " NORVANEPI_PS
                  " convert clip.mp4 --out recordings --start 2018-06-23T10:00:00Z >out 2>err'"),
              2);
    EXPECT_NE(error().find("clip.mp4: not converted: recordings/2018/06/23/10/0000-00000080e.ps: cannot be "
                           "written: File too large"),
              std::string::npos)
        << error();
    EXPECT_EQ(read_file(directory / "out"), "");
    ASSERT_EQ(ps("metrics recordings -o old.prom"), 0) << error();
    const std::string metrics = read_file(directory / "old.prom");
    EXPECT_EQ(run("bash -c 'ulimit -f 1; " NORVANEPI_PS " metrics recordings -o old.prom 2>err'"), 2);
    EXPECT_EQ(error(), "norvanepi-ps: error: old.prom: cannot be written: File too large\n");
    EXPECT_EQ(read_file(directory / "old.prom"), metrics);
    ASSERT_EQ(run("rm old.prom && touch -d '1 hour ago' recordings/2018/06/22/10/*"), 0);
    EXPECT_EQ(
        run("bash -c 'ulimit -f 0; " NORVANEPI_PS
            " coverage recordings --cache cache 2>&1 | grep -c \"no gaps\\|/recordings.cache: cannot be "
            "written: File too large\" | grep -q 2' && rmdir cache"),
        0);
    for (const std::string command :
         {"probe clip.mp4", "frames recordings", "export recordings -o -", "--version",
          "convert clip.mp4 --force --out recordings --start 2018-06-22T10:00:00Z"}) {
        EXPECT_EQ(run(NORVANEPI_PS " " + command + " >/dev/full 2>err"), 2) << command;
        EXPECT_EQ(error(),
                  "norvanepi-ps: error: standard output: cannot be written: No space left on device\n")
            << command;
    }
    EXPECT_EQ(ps("export recordings --format h264 -o /dev/full"), 2);
    EXPECT_NE(error().find("/dev/full: cannot be written: No space left on device"), std::string::npos);
    // Hashing a large sparse clip takes long enough to be interrupted. A job of its own is not started with
    // SIGINT ignored.
    ASSERT_EQ(run("cp clip.mp4 large.mp4 && truncate -s 64G large.mp4"), 0);
    write_file(directory / "interrupt",
               "set -m\n" NORVANEPI_PS
               " export recordings --force -o o.mkv --hash --parameter-sets large.mp4 &\n"
               "until [ -e o.mkv.*.part ]; do sleep 0.01; done\n"
               "kill -$1 $!\nwait $!\n");
    for (const auto& [name, number] : std::map<std::string, int>{{"INT", 2}, {"TERM", 15}, {"HUP", 1}})
        EXPECT_EQ(run("timeout 60 bash interrupt " + name), 128 + number) << name;
    ASSERT_EQ(run("rm large.mp4 interrupt"), 0);
    EXPECT_EQ(files(), before);
    EXPECT_EQ(read_file(directory / "o.mp4") + read_file(directory / "o.mkv"), "oldold");
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
