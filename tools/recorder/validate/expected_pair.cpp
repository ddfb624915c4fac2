#include "tools/recorder/validate/expected_pair.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <vector>

#include <fmt/format.h>

#include "tools/clip_maker/byte_text.h"

namespace recorder::validate {
namespace {

using clip_maker::big, clip_maker::little, clip_maker::zeros;

constexpr std::size_t kMapEntries = 32;
constexpr std::uint32_t kNone = 0xFFFFFFFF;
constexpr std::uint32_t kUnit = 32;  // packet sizes are multiples of this

/// The fields of one frame in its packet and its index entry.
struct FrameFields {
    std::string payload;
    bool key = false;
    std::uint32_t date = 0;
    std::uint32_t time = 0;  // ms since midnight, UTC
    std::uint32_t size = 0;  // of its packet
};

std::uint32_t date_of(std::chrono::year_month_day day) {
    return (static_cast<std::uint32_t>(static_cast<int>(day.year()) - 2000) % 128) * 512 +
           static_cast<unsigned>(day.month()) * 32 + static_cast<unsigned>(day.day());
}

/// The sample with a start code in place of each unit's length.
std::string with_start_codes(std::string sample) {
    for (std::size_t at = 0; at < sample.size();) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < 4; ++i)
            length = length << 8U | static_cast<unsigned char>(sample[at + i]);
        sample.replace(at, 4, big(1, 4));
        at += 4 + length;
    }
    return sample;
}

std::vector<FrameFields> frame_fields(const clip_maker::Clip& clip, Seconds start, bool parameter_sets) {
    namespace ch = std::chrono;
    const clip_maker::ClipTrack& track = clip.tracks.front();
    const double duration = !clip.duration ? 0.065
                                           : static_cast<double>(*clip.duration) /
                                                 (static_cast<double>(track.samples.size()) * clip.timescale);
    std::vector<FrameFields> frames;
    double offset = 0;
    for (const std::string& sample : track.samples) {
        FrameFields frame;
        const auto number = static_cast<std::uint32_t>(frames.size() + 1);
        frame.key = !track.sync || std::ranges::find(*track.sync, number) != track.sync->end();
        if (frame.key && parameter_sets)
            frame.payload =
                clip_maker::nal(clip_maker::kSequenceSet) + clip_maker::nal(clip_maker::kPictureSet);
        frame.payload = with_start_codes(frame.payload + sample);
        const double time = static_cast<double>(start) + offset;
        const auto seconds = static_cast<std::int64_t>(time);
        const auto day = ch::floor<ch::days>(ch::sys_seconds(ch::seconds(seconds)));
        frame.date = date_of(day);
        frame.time = static_cast<std::uint32_t>((seconds - day.time_since_epoch().count() * 86400) * 1000) +
                     static_cast<std::uint32_t>((time - static_cast<double>(seconds)) * 1000);
        frame.size = static_cast<std::uint32_t>((kUnit + frame.payload.size() + kUnit - 1) / kUnit * kUnit);
        frames.push_back(std::move(frame));
        offset += duration;
    }
    return frames;
}

std::string pack_header() {
    return big(0x000001BA, 4) + big(0x440004000401, 6) + big(0x000003FAFFFF, 6);
}

std::string map_of(const clip_maker::Clip& clip, const std::string& input_name) {
    const clip_maker::ClipTrack& track = clip.tracks.front();
    std::string name = input_name.substr(0, 32);
    name.resize(32);
    std::string map = big(0x000001BC, 4) + big(1956, 2) + big(0xE2FF, 2) + big(94, 2) +
                      std::string(8, '\xFF') + zeros(52) + "\x02" + zeros(33) + big(1856, 2);
    for (std::size_t slot = 0; slot < kMapEntries; ++slot) {
        const bool video = slot < 16;
        map += big(video ? 0x85 : 0x90, 1) + big(video ? 0xD0 + slot : 0xC0 + slot - 16, 1) + big(54, 2);
        map += video ? big(track.width / 16, 1) + big(track.height / 16, 1) + big(0xFFFF, 2) : zeros(4);
        map += zeros(18) + name;
    }
    return map;
}

/// ISO/IEC 13818-1, 2.4.3.6: 33 bits, with a marker bit after each part.
std::string stamp(unsigned prefix, std::uint64_t time) {
    return big(prefix << 4U | (time >> 30U & 7U) << 1U | 1U, 1) + big((time >> 15U & 0x7FFFU) << 1U | 1U, 2) +
           big((time & 0x7FFFU) << 1U | 1U, 2);
}

/// Twenty-two bits in three bytes. One bit is always set in each of the first two.
std::string size22(std::uint32_t size) {
    if (size == kNone) return big(0xFFFFFF, 3);
    return big(0x80U | size >> 15U, 1) + big((size >> 11U & 15U) << 4U | 8U | (size >> 8U & 7U), 1) +
           big(size & 0xFFU, 1);
}

unsigned flags_of(const FrameFields& frame, std::uint8_t kind) {
    return (kind & 0xFCU) | 0x1CU | (frame.key ? 1U : 2U);
}

std::string packet(const FrameFields& frame, std::uint32_t size_before, std::uint8_t kind) {
    const std::size_t padding = frame.size - kUnit - frame.payload.size();
    const std::uint64_t time = std::uint64_t{frame.time} * 90;
    return big(0x000001D0, 4) + big((frame.size - 6) & 0xFFFFU, 2) + big(0x80C117, 3) + stamp(3, time) +
           stamp(1, time) + big(0x0F8B, 2) + size22(size_before) + size22(frame.size) +
           big(flags_of(frame, kind), 1) + big(0xC0, 1) + big(0xC0U | padding, 1) + little(frame.date, 2) +
           frame.payload + zeros(padding);
}

std::string data_of(const clip_maker::Clip& clip, const std::vector<FrameFields>& frames, std::uint8_t kind,
                    const std::string& input_name) {
    std::string data = pack_header() + map_of(clip, input_name);
    std::uint32_t before = kNone;
    for (const FrameFields& frame : frames) {
        data += packet(frame, before, kind);
        before = frame.size;
    }
    return data;
}

/// Dates and times of the first and last frame, as in the header, the stream record and a span.
std::string dates(const FrameFields& first, const FrameFields& last) {
    return little(first.date, 2) + little(last.date, 2);
}
std::string times(const FrameFields& first, const FrameFields& last) {
    return little(first.time, 4) + little(last.time, 4);
}

std::string entries_of(const std::vector<FrameFields>& frames, std::uint8_t kind) {
    std::string entries;
    std::uint32_t position = 0;
    std::uint32_t distance = 0;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const FrameFields& frame = frames[i];
        distance = frame.key ? 0 : distance + 1;
        const std::uint32_t units = frame.size / kUnit;
        entries += zeros(2) + big(flags_of(frame, kind), 1) + big(0xC0, 1) + little(units & 0xFFFFU, 2) +
                   little(frame.date, 2) + little(frame.time, 4) + little(position, 4) +
                   little(i == 0 ? kNone : i - 1, 4) + little(i + 1 == frames.size() ? kNone : i + 1, 4) +
                   little(distance, 2) + little(units >> 16U, 1) + zeros(5);
        position += units;
    }
    return entries;
}

/// A span ends before a frame with another date, an earlier time, or a time more than a second later.
std::vector<std::string> spans_of(const std::vector<FrameFields>& frames, std::uint8_t kind) {
    std::vector<std::string> spans;
    for (auto first = frames.begin(); first != frames.end();) {
        const auto broken =
            std::adjacent_find(first, frames.end(), [](const FrameFields& a, const FrameFields& b) {
                return a.date != b.date || b.time < a.time || b.time - a.time > 1000;
            });
        const auto end = broken == frames.end() ? broken : broken + 1;
        const FrameFields& last = *(end - 1);
        spans.push_back(zeros(1) + big(kind & 0xE0U, 1) + zeros(2) + dates(*first, last) +
                        times(*first, last));
        first = end;
    }
    return spans;
}

std::string index_of(const std::vector<FrameFields>& frames, std::uint8_t kind) {
    const auto count = static_cast<std::uint32_t>(frames.size());
    const std::vector<std::string> spans = spans_of(frames, kind);
    std::string index;
    for (const std::uint32_t word : {1U, 64U, 32U, 32U, 32U, count}) index += little(word, 4);
    index += dates(frames.front(), frames.back()) + times(frames.front(), frames.back()) + little(16, 4) +
             little(spans.size(), 4) + zeros(20);
    index += little(count, 4) + little(0, 4) + little(count - 1, 4) + dates(frames.front(), frames.back()) +
             times(frames.front(), frames.back()) + zeros(1) + big(kind & 0xE0U, 1) + zeros(6);
    index += zeros((kMapEntries - 1) * 32) + entries_of(frames, kind);
    for (const std::string& span : spans) index += span;
    return index;
}

}  // namespace

Pair expected_pair(const clip_maker::Clip& clip, Seconds start, std::uint8_t kind,
                   const std::string& input_name, bool parameter_sets) {
    const std::vector<FrameFields> frames = frame_fields(clip, start, parameter_sets);
    return {data_of(clip, frames, kind, input_name), index_of(frames, kind)};
}

std::string difference(const std::string& found, const std::string& expected) {
    const auto [is, should] = std::mismatch(found.begin(), found.end(), expected.begin(), expected.end());
    if (is == found.end() && should == expected.end()) return "the same";
    if (is == found.end() || should == expected.end()) {
        return fmt::format("{} bytes long, not {}", found.size(), expected.size());
    }
    return fmt::format("byte {} is {:02X}, not {:02X}", is - found.begin(), static_cast<unsigned char>(*is),
                       static_cast<unsigned char>(*should));
}

}  // namespace recorder::validate
