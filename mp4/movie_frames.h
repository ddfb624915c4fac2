#pragma once

#include <functional>

#include "mp4/frame_loop.h"
#include "mp4/movie_samples.h"

/// Receives a frame without its time, and its sample. Returns false if the frame could not be written.
using MovieFrameSink = std::function<bool(const Frame&, const MovieSample&)>;

/// Passes every sample of an H.264 track to the sink in decoding order, with start codes.
[[nodiscard]] TrackResult convert_movie_track(const Movie& movie, const MovieTrack& track, BoxReader& in,
                                              const MovieFrameSink& sink);
