#pragma once

#include <gtest/gtest.h>

#include "convert/mp4_parser.h"
#include "tests/support/clips.h"
#include "tests/support/fake_time.h"
#include "tests/support/memory_files.h"
#include "tests/support/recording_view.h"
#include "tests/support/time_zone.h"

/// Conversions in memory. Everything that happens is told in one story: log lines with their level in front,
/// changes in the tree of files.
class ConvertTest : public testing::Test {
  protected:
    ConvertTest() {
        request.sourceFile = "clip.mp4";
        request.inputName = "Gate";
        request.outputDirectory = "out/";
        request.identifier = 0x00A10000;
        request.deviceNumber = 3;
        request.startSeconds = 1'529'683'509;  // 2018-06-22 16:05:09 UTC
        request.flags = 0x80;
        files.note = [this](const std::string& what) { tell(what); };
    }

    /// Converts the clip and closes the recording.
    std::int32_t convert(const std::string& clip) {
        files.put("clip.mp4", clip);
        story.clear();
        norvane::Mp4Parser parser(request, context());
        return parser.parse_container();
    }

    /// Converts the clip; the result and everything that happened have to be these.
    void expect(const std::string& clip, std::int32_t result, const std::string& told) {
        EXPECT_EQ(convert(clip), result);
        EXPECT_EQ(story, told);
        EXPECT_EQ(files.output.open_files, 0);
    }

    /// The recording at the request's usual path.
    RecordingView recording() const { return {files.at(kRecording), files.at(kRecording + "i")}; }

    norvane::ConversionContext context() {
        return {files, sleeper, [this](std::int32_t level, const std::string& text) {
                    tell(std::to_string(level) + " " + text);
                }};
    }

    const std::string kRecording = "out/2018/06/22/16/0509-00A10380e.ps";

    std::string story;
    MemoryFiles files;
    StreamRecord request;
    InstantSleeper sleeper;

  private:
    void tell(const std::string& what) {
        story += what;
        if (story.back() != '\n') story += '\n';
    }

    TimeZone zone_{"UTC0"};
};

/// Three frames, the first and the last of them key frames.
inline ClipTrack three_frames() {
    return {.samples = {nal("first"), nal("second frame"), nal("third")}, .sync = {{1, 3}}};
}
