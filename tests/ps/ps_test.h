#pragma once

#include <gtest/gtest.h>

#include "ps/ps_index.h"
#include "ps/ps_writer.h"
#include "tests/support/byte_text.h"
#include "tests/support/memory_files.h"
#include "tests/support/parsed_recording.h"

/// The streams of an ordinary recording: video in slots 0 to 15, audio in the others.
inline PsStreamDescs usual_streams() {
    PsStreamDescs streams;
    for (std::uint8_t slot = 0; slot < 32; ++slot) {
        streams[slot].type = slot < 16 ? 0x85 : 0x90;
        streams[slot].id = static_cast<std::uint8_t>(slot < 16 ? 0xD0 + slot : 0xC0 + slot - 16);
    }
    return streams;
}

/// A frame; tests set only the fields that matter.
struct FrameSpec {
    std::uint16_t slot = 0;
    std::uint32_t at = 36'000'000;  // ms since midnight
    std::uint8_t kind = 0x80;
    std::uint8_t picture = kKeyFrame;
    std::array<std::uint16_t, 3> date = {2018, 6, 22};
    std::string payload = "payload";
};

/// A writer with two files in memory.
class PsWriterTest : public testing::Test {
  protected:
    PsWriterTest() { ps_writer_init(writer); }

    std::int32_t open(const PsStreamDescs& streams = usual_streams(), const PsProgramInfo& program = {}) {
        writer.data = files.create_data("a.ps");
        writer.index = files.create_index("a.psi");
        writer.open_flag = true;
        return ps_open(writer, program, streams);
    }

    std::int32_t write(const FrameSpec& spec) {
        return ps_write_frame(writer, {.slot = spec.slot,
                                       .picture_type = spec.picture,
                                       .year = spec.date[0],
                                       .month = spec.date[1],
                                       .day = spec.date[2],
                                       .hour = spec.at / 3'600'000,
                                       .minute = spec.at / 60'000 % 60,
                                       .second = spec.at / 1000 % 60,
                                       .millisecond = spec.at % 1000,
                                       .recording_kind = spec.kind,
                                       .payload = platform::bytes_of(std::string_view(spec.payload))});
    }

    const std::string& data() const { return files.at("a.ps"); }
    const std::string& index() const { return files.at("a.psi"); }
    std::string data_hex(std::size_t at, std::size_t length) const {
        return to_hex(data().substr(at, length));
    }
    std::string index_hex(std::size_t at, std::size_t length) const {
        return to_hex(index().substr(at, length));
    }

    /// Closes the writer, reads the recording and checks that it has no faults.
    ParsedRecording finished() {
        ps_close(writer);
        ParsedRecording view(data(), index());
        EXPECT_EQ(view.fault(), "");
        EXPECT_EQ(files.output.open_files, 0);
        return view;
    }

    /// Writes a complete recording.
    ParsedRecording recorded(const std::vector<FrameSpec>& frames) {
        EXPECT_EQ(open(), kPsOk);
        for (const FrameSpec& frame : frames) EXPECT_EQ(write(frame), kPsOk);
        return finished();
    }

    MemoryFiles files;
    PsWriter writer;
};
