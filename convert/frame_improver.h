#pragma once

#include <cstdint>
#include <vector>

#include "mp4/frame_loop.h"
#include "mp4/movie_samples.h"
#include "plugin/interfaces/options.h"

namespace norvane {

/// Gives the frames of one track what its sample tables and descriptions say about them: their own time, and
/// parameter sets before key frames that have none. Which of them, the options select.
class FrameImprover {
  public:
    /// The track must outlive the object. `clip_size` limits how much is added.
    FrameImprover(const MovieTrack& track, const Options& options, double time_base, std::uint64_t clip_size);

    /// Changes time and bytes of the frame. Its bytes are valid until the next call.
    void improve(Frame& frame, const MovieSample& sample);
    /// Seconds from the frame to the next one, if the track says so.
    [[nodiscard]] std::optional<double> duration_of(const MovieSample& sample) const;

  private:
    const MovieTrack& track_;
    Options options_;
    double time_base_;
    std::uint64_t room_;  // bytes that parameter sets may still add
    std::vector<platform::Byte> buffer_;
};

}  // namespace norvane
