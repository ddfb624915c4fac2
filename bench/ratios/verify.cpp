// The check of a recording. A whole site is checked while it records, so that a check has to cost less than
// it costs to copy the files.

#include <fmt/format.h>

#include <vector>

#include "bench/ratios/plain_copy.h"
#include "bench/ratios/subjects.h"
#include "platform/calendar.h"
#include "ps/ps_writer.h"
#include "tools/reader/verify.h"

namespace bench {
namespace {

constexpr const char* kData = "checked.ps";
constexpr const char* kIndex = "checked.psi";
constexpr std::uint64_t kBytes = 1'000'000'000;  // of frames
constexpr std::int64_t kStart = 1'700'000'000;   // seconds since 1970
constexpr std::uint64_t kFramesASecond = 200;
constexpr std::uint64_t kFramesToKey = 50;

struct Kind {
    std::size_t frame_bytes = 0;
    double limit = 0;
};
constexpr Kind kKinds[] = {{20'000, 0.25}, {300, 1}};

PsStreamDescs streams() {
    PsStreamDescs streams;
    for (std::uint8_t slot = 0; slot < kSlots; ++slot) {
        streams.at(slot).id = static_cast<std::uint8_t>(slot < 16 ? 0xD0 + slot : 0xB0 + slot);
    }
    return streams;
}

PsFrame frame_at(std::uint64_t number) {
    const auto time = platform::utc_time(kStart + static_cast<std::int64_t>(number / kFramesASecond));
    require(time.has_value(), "no such time");
    PsFrame frame;
    frame.picture_type = number % kFramesToKey == 0 ? kKeyFrame : kOtherFrame;
    frame.year = static_cast<std::uint16_t>(time->year);
    frame.month = static_cast<std::uint16_t>(time->month);
    frame.day = static_cast<std::uint16_t>(time->day);
    frame.hour = time->hour;
    frame.minute = time->minute;
    frame.second = time->second;
    frame.millisecond = static_cast<std::uint32_t>(number % kFramesASecond * (1000 / kFramesASecond));
    frame.recording_kind = 0x80;
    return frame;
}

void make_recording(std::uint64_t frames, std::size_t frame_bytes) {
    const std::vector<platform::Byte> payload(frame_bytes, 0x55);
    PsWriter writer;
    ps_writer_init(writer);
    writer.data = platform::system_files().create_data(kData);
    writer.index = platform::system_files().create_index(kIndex);
    writer.open_flag = writer.data && writer.index;
    require(ps_open(writer, {}, streams()) == kPsOk, "the recording cannot be begun");
    for (std::uint64_t i = 0; i < frames; ++i) {
        PsFrame frame = frame_at(i);
        frame.payload = payload;
        require(ps_write_frame(writer, frame) == kPsOk, "the recording cannot be written");
    }
    ps_writer_destroy(writer);
}

void verify_all(std::uint64_t frames) {
    reader::Recording recording(kData);
    const reader::Report report = reader::verify(recording);
    require(report.verified() && report.frames == frames, "a sound recording is not verified");
}

}  // namespace

Figures verify_figures(const Effort& effort) {
    Figures figures;
    for (const Kind& kind : kKinds) {
        const std::uint64_t frames = effort.scaled(kBytes) / kind.frame_bytes;
        make_recording(frames, kind.frame_bytes);
        Rounds checks;
        Rounds copies;
        for (int round = 0; round < effort.rounds(); ++round) {
            copies.push_back(time_of([] {
                plain_copy(kData, "copy");
                plain_copy(kIndex, "copy");
            }));
            checks.push_back(time_of([&] { verify_all(frames); }));
        }
        figures.push_back(
            ratio(fmt::format("check of frames of {} bytes: time, of a plain copy", kind.frame_bytes), checks,
                  copies, kind.limit));
    }
    for (const char* path : {kData, kIndex, "copy"}) std::filesystem::remove(path);
    return figures;
}

}  // namespace bench
