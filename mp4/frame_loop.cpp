#include "mp4/frame_loop.h"

#include <algorithm>

#include "mp4/load_samples.h"
#include "mp4/nal_units.h"
#include "mp4/sample_cursor.h"

namespace {

constexpr double kDefaultDuration = 0.065;  // seconds

}  // namespace

double frame_duration(const SampleTables& first_track) {
    std::uint64_t samples = 0;
    for (const SttsEntry& entry : first_track.time_to_sample) samples += entry.sample_count;
    if (first_track.movie_headers.empty() || samples == 0) return kDefaultDuration;
    const MvhdEntry& movie = first_track.movie_headers.front();
    if (movie.timescale == 0 || movie.duration == 0) return kDefaultDuration;
    return static_cast<double>(movie.duration) /
           (static_cast<double>(samples) * static_cast<double>(movie.timescale));
}

TrackResult convert_track(const SampleTables& track, BoxReader& in, double time_base, double duration,
                          const FrameSink& sink) {
    const std::uint32_t largest = track.sample_sizes.largest();
    // The size table may be wrong, but no sample is larger than its clip.
    const auto limit = static_cast<std::size_t>(std::min<std::uint64_t>(largest, in.size()));
    SampleCursor cursor(track);
    std::uint16_t group_counter = 1;
    double offset = 0.0;
    while (const auto sample = cursor.next()) {
        if (sample->chunk_offset) in.seek(*sample->chunk_offset);
        load_samples(cursor, sample->size, limit, in);
        const auto bytes = insert_nal_tags(sample->size, largest, limit, in);
        if (!bytes) return TrackResult::kBadFrame;
        if (!sink({sample->key_frame, group_counter, time_base + offset, *bytes}))
            return TrackResult::kSinkFailed;
        group_counter = sample->key_frame ? std::uint16_t{1} : static_cast<std::uint16_t>(group_counter + 1);
        offset += duration;
    }
    return TrackResult::kDone;
}
