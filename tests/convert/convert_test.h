#pragma once

#include <gtest/gtest.h>

#include "convert/mp4_parser.h"
#include "tests/support/clips.h"
#include "tests/support/fake_time.h"
#include "tests/support/memory_files.h"
#include "tests/support/parsed_recording.h"
#include "tests/support/time_zone.h"

/// Runs conversions in memory and records all events in one text: log lines, prefixed with their level, and
/// file system changes.
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
        files.note = [this](const std::string& what) { add_event(what); };
    }

    /// Converts the clip and closes the recording.
    std::int32_t convert(const std::string& clip) {
        files.put("clip.mp4", clip);
        events.clear();
        norvane::Mp4Parser parser(request, context());
        return parser.parse_container();
    }

    /// Converts the clip and checks the result and the events.
    void expect(const std::string& clip, std::int32_t result, const std::string& expected_events) {
        EXPECT_EQ(convert(clip), result);
        EXPECT_EQ(events, expected_events);
        EXPECT_EQ(files.output.open_files, 0);
    }

    /// The recording at the request's usual path.
    ParsedRecording recording() const { return {files.at(kRecording), files.at(kRecording + "i")}; }

    norvane::ConversionContext context() {
        return {files,
                sleeper,
                [this](std::int32_t level, const std::string& text) {
                    add_event(std::to_string(level) + " " + text);
                },
                {},
                options};
    }

    const std::string kRecording = "out/2018/06/22/16/0509-00A10380e.ps";

    std::string events;
    MemoryFiles files;
    StreamRecord request;
    norvane::Options options;
    InstantSleeper sleeper;

  private:
    void add_event(const std::string& what) {
        events += what;
        if (events.back() != '\n') events += '\n';
    }

    TimeZone zone_{"UTC0"};
};

/// Three frames; the first and the last are key frames.
inline ClipTrack three_frames() {
    return {.samples = {nal("first"), nal("second frame"), nal("third")}, .sync = {{1, 3}}};
}
