#include "mp4/movie_frames.h"

#include "mp4/load_samples.h"
#include "mp4/nal_units.h"

TrackResult convert_movie_track(const Movie& movie, const MovieTrack& track, BoxReader& in,
                                const MovieFrameSink& sink) {
    MovieSamples samples(movie, track, in.file());
    std::vector<platform::Byte> buffer;
    std::uint16_t group_counter = 1;
    while (const auto sample = samples.next()) {
        in.seek(sample->offset);
        if (sample->size > in.left()) return TrackResult::kBadFrame;
        load_samples(samples, sample->size, sample->size, in);
        const std::uint8_t length_size = track.descriptions[sample->description].nal_length_size;
        const auto bytes = with_start_codes(sample->size, length_size, in, buffer);
        if (!bytes) return TrackResult::kBadFrame;
        const Frame frame{
            .key_frame = sample->key_frame, .group_counter = group_counter, .time = 0, .bytes = *bytes};
        if (!sink(frame, *sample)) return TrackResult::kSinkFailed;
        group_counter = sample->key_frame ? std::uint16_t{1} : static_cast<std::uint16_t>(group_counter + 1);
    }
    return samples.complete() && !movie.cut ? TrackResult::kDone : TrackResult::kBadFrame;
}
