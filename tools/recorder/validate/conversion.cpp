// What a downloaded clip becomes: recording and index byte for byte, where they lie, what is said, and that
// the clip is gone. And what is said of a clip that cannot be converted.

#include <array>
#include <fstream>

#include <fmt/format.h>

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

/// Payloads of a multiple of 32 bytes, of one more and of one less, of several units, and one so long that
/// its packet's length wraps. All sizes are taken with the four bytes in front of a unit.
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

StoredClip stored(Trial& trial, const std::string& name, const clip_maker::Clip& clip, Seconds start) {
    return {write_clip(trial.directory().temporary_directory() / name, clip), start};
}

void require_pair(const std::string& path, const Pair& expected) {
    const std::string data = difference(text_of_file(path).value_or(""), expected.data);
    require(data == "the same", fmt::format("{}: {}", path, data));
    const std::string index = difference(text_of_file(path + "i").value_or(""), expected.index);
    require(index == "the same", fmt::format("{}i: {}", path, index));
}

/// A whole operation with one clip, which must become exactly the expected pair.
void convert(Trial& trial, const clip_maker::Clip& clip, Seconds start = kLost, std::int32_t type = 1,
             std::uint8_t kind = kOrdinary) {
    const Request request = trial.until_clips_are_asked();
    trial.simulator().deliver(trial.camera(), request, stored(trial, "clip.mp4", clip, start), type);
    require_pair(trial.directory().recording_path(trial.camera().device, start),
                 expected_pair(clip, start, kind, trial.camera().name));
    trial.finish(request);
}

void varied(Trial& trial) {
    convert(trial, varied_clip());
}

/// Frames of half a second until midnight and on behind it: two spans.
void over_midnight(Trial& trial) {
    constexpr Seconds kDay = 86'400;
    const clip_maker::Clip clip = clip_of({.samples = std::vector(8, unit('\x65', 100)),
                                           .width = 640,
                                           .height = 360,
                                           .sync = {{1, 2, 3, 4, 5, 6, 7, 8}}},
                                          2, 8);
    convert(trial, clip, kLost / kDay * kDay + kDay - 2);
}

/// More than a second from frame to frame: each is a span of its own.
void slow(Trial& trial) {
    convert(trial, clip_of({.samples = {unit('\x65', 40), unit('\x41', 50), unit('\x41', 61)},
                            .width = 640,
                            .height = 360,
                            .sync = {{1}}},
                           1, 6));
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

/// Without a movie header a frame takes 65 ms; without a sync table every frame is a key frame; sound is
/// passed over.
void without_boxes(Trial& trial) {
    clip_maker::Clip clip = varied_clip();
    clip.duration.reset();
    clip_maker::ClipTrack& track = clip.tracks.front();
    track.sync.reset();
    track.samples.resize(4);
    track.chunks = {4};
    clip.tracks.push_back(audio_track());
    convert(trial, clip);
}

void type_three(Trial& trial) {
    convert(trial, varied_clip(), kLost, 3, kOfTypeThree);
}

void other_type(Trial& trial) {
    convert(trial, varied_clip(), kLost, 2, 0);
}

/// Twelve bits of the identifier and eight of the number stand in a file's name.
void path(Trial& trial) {
    Camera camera = trial.camera();
    camera.device = {0x0ABC1234, 0x1FF};
    camera.storage = {{.clip = {.file = {}, .bytes = 1, .seconds = 60, .frames = 0}, .start = kLost}};
    const clip_maker::Clip clip = varied_clip();
    trial.simulator().open();
    introduce(trial.simulator(), camera, kLost - 60);
    trial.lose_and_find(camera, kLost, kFound);
    const Request request = recorder::until_clips_are_asked(trial.simulator(), camera);
    trial.simulator().deliver(camera, request, stored(trial, "clip.mp4", clip, kLost), 1);
    const std::string path = trial.directory().recording_path(camera.device, kLost);
    require(path.ends_with("-0ABCFF80e.ps"), "a clip id of another camera was expected");
    require_pair(path, expected_pair(clip, kLost, kOrdinary, camera.name));
    trial.simulator().close();
}

/// A second clip of the same second takes the first one's place.
void replaced(Trial& trial) {
    const Request request = trial.until_clips_are_asked();
    const clip_maker::Clip second = one_frame(9);
    trial.simulator().deliver(trial.camera(), request, stored(trial, "a.mp4", varied_clip(), kLost), 1);
    trial.simulator().deliver(trial.camera(), request, stored(trial, "b.mp4", second, kLost), 1);
    require_pair(trial.directory().recording_path(trial.camera().device, kLost),
                 expected_pair(second, kLost, kOrdinary, trial.camera().name));
    trial.finish(request);
}

/// What is said of a clip that gets as far as its recording, and then a line of its own.
HostSimulator::Prediction opened_then(Trial& trial, const std::string& error) {
    return [&trial, error](const std::string& clip, const std::string& recording) {
        trial.model().on_clip(1, clip, recording);
        trial.model().expect_log(75, fmt::format(fmt::runtime(error), recording));
    };
}

/// What is said of a clip that does not get that far.
HostSimulator::Prediction said(Trial& trial, const std::vector<std::pair<int, std::string>>& lines) {
    return [&trial, lines](const std::string& clip, const std::string& recording) {
        for (const auto& [level, line] : lines) {
            trial.model().expect_log(level, fmt::format(fmt::runtime(line), clip, recording));
        }
    };
}

void deliver_file(Trial& trial, const Request& request, const std::string& text,
                  const HostSimulator::Prediction& predict) {
    const auto file = trial.directory().temporary_directory() / "odd.mp4";
    std::ofstream(file, std::ios::binary) << text;
    trial.simulator().deliver_odd(trial.camera(), request, {{file, text.size(), 1, 0}, kLost}, predict);
}

void no_mp4(Trial& trial) {
    const Request request = trial.until_clips_are_asked();
    trial.simulator().deliver_no_mp4(trial.camera(), request, kLost);
    const auto nothing = trial.directory().temporary_directory() / "missing.mp4";
    trial.simulator().deliver_odd(
        trial.camera(), request, {{nothing, 0, 1, 0}, kLost},
        said(trial, {{25, "Parsing mp4 container - {}.\n"},
                     {75, "No sample tables found in mp4 container.\n"},
                     {75, "Error deleting file - {}. Attempting to delete again.\n"}}));
    trial.finish(request);
}

void without_tables(Trial& trial) {
    const Request request = trial.until_clips_are_asked();
    const std::string no_movie = make_clip(varied_clip()).substr(0, kMediaAt - 8) + box("mdat", "no movie");
    deliver_file(trial, request, no_movie,
                 said(trial, {{25, "Parsing mp4 container - {}.\n"},
                              {75, "No sample tables found in mp4 container.\n"}}));
    for (const char* table : {"stsd", "stts", "stsc", "stsz", "stco"}) {
        clip_maker::Clip clip = varied_clip();
        clip.tracks.front().boxes[table] = "";
        deliver_file(trial, request, make_clip(clip),
                     said(trial, {{25, "Parsing mp4 container - {}.\n"},
                                  {75, "No sample tables found in mp4 container.\n"}}));
    }
    trial.finish(request);
}

void bad_unit_length(Trial& trial) {
    const Request request = trial.until_clips_are_asked();
    const std::string long_unit = unit('\x41', 30);
    std::string text =
        make_clip(clip_of({.samples = {long_unit}, .width = 640, .height = 360, .sync = {{1}}}));
    text[text.find(long_unit)] = '\x7F';
    deliver_file(trial, request, text,
                 opened_then(trial, "Bad frame size. Aborting parsing of mp4 container.\n"));
    trial.finish(request);
}

/// 4 MiB is the end of what a packet's length can say.
void frame_too_long(Trial& trial) {
    const Request request = trial.until_clips_are_asked();
    const clip_maker::Clip fits = one_frame(4'194'236);
    trial.simulator().deliver(trial.camera(), request, stored(trial, "fits.mp4", fits, kLost), 1);
    require_pair(trial.directory().recording_path(trial.camera().device, kLost),
                 expected_pair(fits, kLost, kOrdinary, trial.camera().name));
    deliver_file(trial, request, make_clip(one_frame(4'194'237)),
                 opened_then(trial, "Error occured while writing frame to ps file - {}.\n"));
    trial.finish(request);
}

void not_opened(Trial& trial) {
    const Request request = trial.until_clips_are_asked();
    std::filesystem::create_directories(trial.directory().recording_path(trial.camera().device, kLost));
    deliver_file(trial, request, make_clip(varied_clip()),
                 said(trial, {{25, "Parsing mp4 container - {}.\n"},
                              {75, "Error opening ps file - {1} for write\n."}}));
    trial.finish(request);
}

void unknown_box(Trial& trial) {
    const Request request = trial.until_clips_are_asked();
    clip_maker::Clip clip = varied_clip();
    clip.at_end = box("abcd", "whatever");
    deliver_file(trial, request, make_clip(clip),
                 said(trial, {{25, "Parsing mp4 container - {}.\n"},
                              {25, "Unknown box type : abcd\n"},
                              {25, "Opened (and PSI) {1}.\n"},
                              {25, "Processing mp4 container stream - {0}.\n"}}));
    trial.finish(request);
}

constexpr std::array kCases = {
    Case{"conversion.varied", "padding, wrapped lengths, chunks: pair byte for byte", varied},
    Case{"conversion.midnight", "a clip over midnight: dates, times, two spans", over_midnight},
    Case{"conversion.slow", "frames more than a second apart: a span each", slow},
    Case{"conversion.without-boxes", "no movie header, no sync table, sound behind", without_boxes},
    Case{"conversion.type-3", "kind of clips of type 3", type_three},
    Case{"conversion.other-type", "kind of clips of any other type", other_type},
    Case{"conversion.path", "clip id and path of an odd camera", path},
    Case{"conversion.replaced", "a clip of the same second replaces the recording", replaced},
    Case{"conversion.no-mp4", "a file that is no MP4, and none at all: refused, removed", no_mp4},
    Case{"conversion.without-tables", "no movie, or one of five tables missing", without_tables},
    Case{"conversion.bad-unit", "a unit longer than every sample", bad_unit_length},
    Case{"conversion.too-long", "the longest frame that fits, and one byte more", frame_too_long},
    Case{"conversion.not-opened", "a recording that cannot be opened", not_opened},
    Case{"conversion.unknown-box", "boxes that are passed over are named", unknown_box},
};

}  // namespace

Cases conversion_cases() {
    return kCases;
}

}  // namespace recorder::validate
