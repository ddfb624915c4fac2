// The conversion of clips: recording and index byte for byte, their paths, the log lines, and the removal of
// the clip.

#include <fstream>

#include <fmt/format.h>

#include "platform/process.h"
#include "tools/clip_maker/byte_text.h"
#include "tools/recorder/validate/cases.h"
#include "tools/recorder/validate/expected_pair.h"

namespace recorder::validate {
namespace {

constexpr std::uint8_t kOrdinary = 0x80;  // of clips of type 1
constexpr std::uint8_t kOfTypeThree = 0x40;
constexpr std::uint32_t kMediaAt = 32;  // offset of the first sample: after "ftyp" and the header of "mdat"

using clip_maker::box, clip_maker::make_clip, clip_maker::table_box;

/// A NAL unit with its length in front.
std::string unit(char first, std::size_t size) {
    return clip_maker::nal(first + std::string(size - 1, static_cast<char>('a' + size % 26)));
}

clip_maker::Clip clip_of(const clip_maker::ClipTrack& track, std::uint32_t timescale = 1000,
                         std::uint64_t duration = 1000) {
    return {.tracks = {track},
            .timescale = timescale,
            .duration = duration,
            .minimal = true,
            .media_in_front = true};
}

/// A clip of one key frame.
clip_maker::Clip one_frame(std::size_t size) {
    return clip_of({.samples = {unit('\x65', size)}, .width = 640, .height = 360, .sync = {{1}}});
}

/// Payloads of a multiple of 32 bytes, one byte more and one byte less; one with several units; and one whose
/// packet length wraps. The sizes include the four bytes before each unit.
clip_maker::Clip varied_clip() {
    return clip_of({.samples = {unit('\x65', 60), unit('\x41', 61), unit('\x41', 59),
                                unit('\x06', 20) + unit('\x41', 100), unit('\x65', 65'501), unit('\x41', 1),
                                unit('\x41', 2'200'000), unit('\x41', 28)},
                    .width = 1920,
                    .height = 1080,
                    .sync = {{1, 5}},
                    .chunks = {3, 1, 4}},
                   10, 40);
}

StoredClip stored(CaseFixture& fixture, const clip_maker::Clip& clip, Seconds start) {
    return {write_clip(fixture.directory().temporary_directory() / "clip.mp4", clip), start};
}

void require_pair(const std::string& path, const Pair& expected) {
    const std::string data = difference(text_of_file(path).value_or(""), expected.data);
    require(data == "the same", fmt::format("{}: {}", path, data));
    const std::string index = difference(text_of_file(path + "i").value_or(""), expected.index);
    require(index == "the same", fmt::format("{}i: {}", path, index));
}

/// Delivers a clip, whose recording must equal the expected pair.
void convert(CaseFixture& fixture, const clip_maker::Clip& clip, Seconds start = kLost, std::int32_t type = 1,
             std::uint8_t kind = kOrdinary) {
    const Request request = fixture.answer_until_clips_requested();
    fixture.simulator().deliver(fixture.camera(), request, stored(fixture, clip, start), type);
    require_pair(fixture.directory().recording_path(fixture.camera().device, start),
                 expected_pair(clip, start, kind, fixture.camera().name, fixture.options().parameter_sets));
}

/// The same for another camera. Returns the path of the recording.
std::string convert_of(CaseFixture& fixture, Camera camera) {
    camera.storage = {{.clip = {.file = {}, .bytes = 1, .seconds = 60, .frames = 0}, .start = kLost}};
    const clip_maker::Clip clip = varied_clip();
    fixture.simulator().open();
    announce_connected(fixture.simulator(), camera, kLost - 60);
    fixture.lose_and_regain(camera, kLost, kFound);
    const Request request = recorder::answer_until_clips_requested(fixture.simulator(), camera);
    fixture.simulator().deliver(camera, request, stored(fixture, clip, kLost), 1);
    std::string path = fixture.directory().recording_path(camera.device, kLost);
    require_pair(path, expected_pair(clip, kLost, kOrdinary, camera.name, fixture.options().parameter_sets));
    return path;
}

/// The recording must be at this local time below the output directory, whatever the module's platform says.
void convert_to(CaseFixture& fixture, Seconds start, const std::string& local_time) {
    const clip_maker::Clip clip = one_frame(9);
    convert(fixture, clip, start);
    const std::string path =
        fmt::format("{}{}-00A10180e.ps", fixture.directory().output_directory(), local_time);
    require(std::filesystem::exists(path), "no recording at " + path);
}

/// Throws Skipped on systems that take the time zone from elsewhere than TZ.
void require_zone() {
    if (!platform::process_settings().contains("time zone"))
        throw Skipped("this system has one time zone for all processes");
}

/// An AAC track (ISO/IEC 14496-12, 12.2.3) whose only sample is the start of the first picture.
clip_maker::ClipTrack audio_track() {
    using clip_maker::be16, clip_maker::be32, clip_maker::zeros;
    const std::string entry =
        zeros(6) + be16(1) + zeros(8) + be16(1) + be16(16) + zeros(4) + be32(8000U << 16U);
    return {.samples = {},
            .boxes = {{"stsd", box("stsd", zeros(4) + be32(1) + box("mp4a", entry))},
                      {"stts", table_box("stts", 1, {1, 1})},
                      {"stsc", table_box("stsc", 1, {1, 1, 1})},
                      {"stsz", table_box("stsz", 0, {1, 8})},
                      {"stco", table_box("stco", 1, {kMediaAt})}}};
}

/// Log lines with their levels; {} and {1} are the paths of clip and recording.
using LogLines = std::vector<std::pair<int, std::string>>;

LogLines without_tables() {
    return {{25, "Parsing mp4 container - {}.\n"}, {75, "No sample tables found in mp4 container.\n"}};
}

/// The lines for a clip whose conversion starts, and then fails or succeeds.
LogLines started(const LogLines& further) {
    LogLines lines = {{25, "Parsing mp4 container - {}.\n"},
                      {25, "Opened (and PSI) {1}.\n"},
                      {25, "Processing mp4 container stream - {0}.\n"}};
    lines.insert(lines.end(), further.begin(), further.end());
    return lines;
}

/// Delivers a file that the module cannot convert completely.
void deliver_file(CaseFixture& fixture, const std::string& text, const LogLines& lines) {
    const bool is_kept = fixture.options().keep_failed_clips && lines.back().first == kLogError;
    const Request request = fixture.answer_until_clips_requested();
    const auto file = fixture.directory().temporary_directory() / "odd.mp4";
    if (!text.empty()) std::ofstream(file, std::ios::binary) << text;
    fixture.simulator().deliver_unusual(fixture.camera(), request, {{file, text.size(), 1, 0}, kLost},
                                        [&](const std::string& clip, const std::string& recording) {
                                            std::string last;
                                            for (const auto& [level, line] : lines) {
                                                last = fmt::format(fmt::runtime(line), clip, recording);
                                                fixture.model().expect_log(level, last);
                                            }
                                            if (is_kept) fixture.model().expect_kept_clip(clip, last);
                                            return !is_kept;
                                        });
}

constexpr Case kConversionCases[] = {
    {"conversion.varied", "padding, wrapped lengths, chunks: both files byte for byte",
     [](CaseFixture& fixture) { convert(fixture, varied_clip()); }},
    {"conversion.midnight", "a clip across midnight: dates, times, two spans",
     [](CaseFixture& fixture) {
         // Frames of half a second before and after midnight: two spans.
         constexpr Seconds kDay = 86'400;
         const clip_maker::Clip clip = clip_of({.samples = std::vector(8, unit('\x65', 100)),
                                                .width = 640,
                                                .height = 360,
                                                .sync = {{1, 2, 3, 4, 5, 6, 7, 8}}},
                                               2, 8);
         convert(fixture, clip, kLost / kDay * kDay + kDay - 2);
     }},
    {"conversion.slow", "frames more than a second apart: one span each",
     [](CaseFixture& fixture) {
         // More than a second between frames: each one is a span.
         convert(fixture, clip_of({.samples = {unit('\x65', 40), unit('\x41', 50), unit('\x41', 61)},
                                   .width = 640,
                                   .height = 360,
                                   .sync = {{1}}},
                                  1, 6));
     }},
    {"conversion.without-boxes", "no movie header, no sync table, sound after the video",
     [](CaseFixture& fixture) {
         // Without a movie header a frame takes 65 ms. Without a sync table every frame is a key frame.
         // Sound is skipped.
         clip_maker::Clip clip = varied_clip();
         clip.duration.reset();
         clip_maker::ClipTrack& track = clip.tracks.front();
         track.sync.reset();
         track.samples.resize(4);
         track.chunks = {4};
         clip.tracks.push_back(audio_track());
         convert(fixture, clip);
     }},
    {"conversion.type-3", "kind value for clips of type 3",
     [](CaseFixture& fixture) { convert(fixture, varied_clip(), kLost, 3, kOfTypeThree); }},
    {"conversion.other-type", "kind value for clips of any other type",
     [](CaseFixture& fixture) { convert(fixture, varied_clip(), kLost, 2, 0); }},
    {"conversion.path", "clip id and path for large camera numbers",
     [](CaseFixture& fixture) {
         // A file name contains twelve bits of the identifier and eight of the number.
         Camera camera = fixture.camera();
         camera.device = {0x0ABC1234, 0x1FF};
         const std::string path = convert_of(fixture, camera);
         require(path.ends_with("-0ABCFF80e.ps"), "wrong clip id in " + path);
     }},
    {"conversion.many-frames", "a clip of five thousand frames",
     [](CaseFixture& fixture) {
         clip_maker::ClipTrack track{.samples = {}, .width = 640, .height = 360, .sync = {{}}};
         for (std::uint32_t i = 0; i < 5'000; ++i) {
             const bool key = i % 250 == 0;
             track.samples.push_back(unit(key ? '\x65' : '\x41', 20 + i % 50));
             if (key) track.sync->push_back(i + 1);
         }
         convert(fixture, clip_of(track, 25, 5'000));
     }},
    {"conversion.names", "an input name with characters outside ASCII, longer than its field",
     [](CaseFixture& fixture) {
         Camera camera = fixture.camera();
         camera.name = "T\xC3\xBCr <\xE5\x8C\x97> & \xD0\x94\xD0\xB2\xD0\xBE\xD1\x80, cut after 32 bytes";
         (void)convert_of(fixture, camera);
     }},
    {"conversion.clock-change", "paths contain the local time before and after each change of the clock",
     [](CaseFixture& fixture) {
         require_zone();
         for (const auto& [start, path] : std::initializer_list<std::pair<Seconds, std::string>>{
                  {2'057'209'199, "2035/03/11/01/5959"},     // 06:59:59 UTC
                  {2'057'209'200, "2035/03/11/03/0000"},     // 07:00:00 UTC
                  {2'066'860'800, "2035/06/30/20/0000"},     // 2035-07-01 00:00:00 UTC
                  {2'077'767'000, "2035/11/04/01/3000"},     // 05:30:00 UTC, before the clock is set back
                  {2'077'772'400, "2035/11/04/02/0000"}}) {  // 07:00:00 UTC
             convert_to(fixture, start, path);
         }
     }},
    {"conversion.utc", "the same in UTC",
     [](CaseFixture& fixture) {
         require_zone();
         convert_to(fixture, 2'066'860'800, "2035/07/01/00/0000");
         convert_to(fixture, 2'051'222'399, "2034/12/31/23/5959");
     },
     kUtc},
    {"conversion.replaced", "a clip with the same start replaces the recording",
     [](CaseFixture& fixture) {
         convert(fixture, varied_clip());
         convert(fixture, one_frame(9));
     }},
    {"conversion.no-mp4", "a file that is not MP4 is refused and removed; a missing file is refused",
     [](CaseFixture& fixture) {
         fixture.simulator().deliver_no_mp4(fixture.camera(), fixture.answer_until_clips_requested(), kLost);
         if (fixture.options().keep_failed_clips) return deliver_file(fixture, "", without_tables());
         LogLines lines = without_tables();
         lines.emplace_back(75, "Error deleting file - {}. Attempting to delete again.\n");
         deliver_file(fixture, "", lines);
     }},
    {"conversion.without-tables", "no movie box, or one of five tables missing",
     [](CaseFixture& fixture) {
         fixture.require_default();
         deliver_file(fixture, make_clip(varied_clip()).substr(0, kMediaAt - 8) + box("mdat", "no movie"),
                      without_tables());
         for (const char* table : {"stsd", "stts", "stsc", "stsz", "stco"}) {
             clip_maker::Clip clip = varied_clip();
             clip.tracks.front().boxes[table] = "";
             deliver_file(fixture, make_clip(clip), without_tables());
         }
     }},
    {"conversion.bad-unit", "a unit longer than its sample",
     [](CaseFixture& fixture) {
         std::string text = make_clip(one_frame(30));
         text[kMediaAt] = '\x7F';
         deliver_file(fixture, text, started({{75, "Bad frame size. Aborting parsing of mp4 container.\n"}}));
     }},
    {"conversion.too-long", "the longest frame that fits, and one that is a byte longer",
     [](CaseFixture& fixture) {
         fixture.require_default();
         convert(fixture, one_frame(4'194'236));  // a packet length cannot exceed 4 MiB
         deliver_file(fixture, make_clip(one_frame(4'194'237)),
                      started({{75, "Error occured while writing frame to ps file - {1}.\n"}}));
     }},
    {"conversion.not-opened", "a recording that cannot be opened",
     [](CaseFixture& fixture) {
         std::filesystem::create_directories(
             fixture.directory().recording_path(fixture.camera().device, kLost));
         deliver_file(
             fixture, make_clip(varied_clip()),
             {{25, "Parsing mp4 container - {}.\n"}, {75, "Error opening ps file - {1} for write\n."}});
     }},
    {"conversion.unknown-box", "unknown boxes are logged",
     [](CaseFixture& fixture) {
         clip_maker::Clip clip = varied_clip();
         clip.at_end = box("abcd", "whatever");
         fixture.require_default();
         LogLines lines = started({});
         lines.insert(lines.begin() + 1, {25, "Unknown box type : abcd\n"});
         deliver_file(fixture, make_clip(clip), lines);
     }},
};

}  // namespace

Cases conversion_cases() {
    return kConversionCases;
}

}  // namespace recorder::validate
