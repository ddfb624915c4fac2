#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "mp4/box_reader.h"
#include "mp4/sample_tables.h"

/// One sample in start-code form.
struct Frame {
    bool key_frame = false;
    std::uint16_t group_counter = 0;  // counts up from 1, which the frame behind every key frame has again
    double time = 0;                  // seconds since 1970: the time base and the frame's offset in its track
    std::span<const platform::Byte> bytes;  // valid until the sink returns
};

/// Takes a frame; false when it could not be written.
using FrameSink = std::function<bool(const Frame&)>;

/// How a track ended. Frames handed on before stay handed on.
enum class TrackEnd { kDone, kBadFrame, kSinkFailed };

/// Seconds from a frame to the next, from the first record of a clip whatever track it belongs to: its movie
/// duration over its sample count, or 0.065 when it does not tell.
[[nodiscard]] double frame_duration(const SampleTables& first_record);

/// Hands every sample of the track to the sink in decoding order. Time-to-sample deltas, composition offsets
/// and edit lists play no part: every frame follows the one before by the duration.
[[nodiscard]] TrackEnd convert_track(const SampleTables& track, BoxReader& in, double time_base,
                                     double duration, const FrameSink& sink);
