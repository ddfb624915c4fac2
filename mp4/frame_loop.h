#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "mp4/box_reader.h"
#include "mp4/sample_tables.h"

/// One sample with start codes.
struct Frame {
    bool key_frame = false;
    std::uint16_t group_counter = 0;        // counts up; restarts at 1 after each key frame
    double time = 0;                        // seconds since 1970: the time base plus the offset in the track
    std::span<const platform::Byte> bytes;  // valid until the sink returns
};

/// Receives a frame. Returns false if the frame could not be written.
using FrameSink = std::function<bool(const Frame&)>;

/// How a conversion ended. After a failure, the frames before it have reached the sink.
enum class TrackResult { kDone, kBadFrame, kSinkFailed };

/// Seconds per frame: the movie's duration divided by the number of samples in the first track, whatever kind
/// of track that is. 0.065 if the clip does not state them.
[[nodiscard]] double frame_duration(const SampleTables& first_track);

/// Passes every sample of the track to the sink in decoding order. Ignores time-to-sample deltas, composition
/// offsets and edit lists: each frame comes `duration` after the previous one.
[[nodiscard]] TrackResult convert_track(const SampleTables& track, BoxReader& in, double time_base,
                                        double duration, const FrameSink& sink);
