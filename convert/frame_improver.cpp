#include "convert/frame_improver.h"

#include <algorithm>
#include <cmath>

#include "mp4/parameter_sets.h"

namespace norvane {
namespace {

/// Long parameter sets before many short frames could fill a disk. In a real clip, they are much shorter than
/// the frames.
constexpr std::uint64_t kMaxGrowth = 16;

/// Recordings store whole milliseconds, to which the writer cuts a time. The microsecond prevents that a time
/// slightly below the nearest millisecond loses it.
double nearest_millisecond(double seconds) {
    constexpr double kMillisecond = 1e-3;
    constexpr double kMicrosecond = 1e-6;
    return std::round(seconds / kMillisecond) * kMillisecond + kMicrosecond;
}

}  // namespace

FrameImprover::FrameImprover(const MovieTrack& track, const Options& options, double time_base,
                             std::uint64_t clip_size)
    : track_(track), options_(options), time_base_(time_base), room_(clip_size * kMaxGrowth) {}

void FrameImprover::improve(Frame& frame, const MovieSample& sample) {
    if (options_.sample_times && track_.time_scale != 0) {
        // A frame before the start of the edit list is kept: others may refer to it. 1970 is the first year
        // of the calendar.
        const double offset = static_cast<double>(sample.time) / track_.time_scale;
        frame.time = std::max(0.0, time_base_ + nearest_millisecond(offset));
    }
    if (!options_.parameter_sets || !frame.key_frame || sample.description >= track_.descriptions.size())
        return;
    const auto& sets = track_.descriptions[sample.description].parameter_sets;
    if (sets.empty() || sets.size() > room_ || h264::has_parameter_sets(frame.bytes)) return;
    room_ -= sets.size();
    h264::put_parameter_sets(frame.bytes, sets, buffer_);
    frame.bytes = buffer_;
}

std::optional<double> FrameImprover::duration_of(const MovieSample& sample) const {
    if (!options_.sample_times || track_.time_scale == 0) return std::nullopt;
    return static_cast<double>(sample.duration) / track_.time_scale;
}

}  // namespace norvane
