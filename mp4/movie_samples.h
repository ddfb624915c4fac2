#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "mp4/box_reader.h"
#include "mp4/movie.h"

/// Where a sample is, and when its frame is displayed.
struct MovieSample {
    std::uint64_t offset = 0;
    std::uint32_t size = 0;
    std::uint32_t description = 0;  // index, counted from 0
    bool key_frame = false;
    std::int64_t time = 0;       // in the track's time scale
    std::uint32_t duration = 0;  // in the track's time scale
};

/// Iterates over the samples of a track in decoding order: those of the sample tables, then those of the
/// fragments. Their time is the presentation time in the media (8.6.1.3). Ends early if they claim more bytes
/// than the clip has, so that the number of samples is limited, too.
class StoredSamples {
  public:
    /// The track must outlive the iterator. The file is the clip.
    StoredSamples(const MovieTrack& track, platform::InputFile* file);

    [[nodiscard]] std::optional<MovieSample> next();
    /// False after it ended early.
    [[nodiscard]] bool complete() const noexcept { return complete_; }

  private:
    /// Iterates over a table in which each entry holds for a number of samples.
    template <typename Entry>
    class Repeated {
      public:
        explicit Repeated(const std::vector<Entry>& table) : table_(table) {}
        /// The entry of the next sample, or null after the last one.
        const Entry* next();

      private:
        const std::vector<Entry>& table_;
        std::size_t entry_ = 0;
        std::uint32_t used_ = 0;
    };

    [[nodiscard]] std::optional<MovieSample> next_of_tables();
    [[nodiscard]] std::optional<MovieSample> next_of_runs();
    bool enter_chunk();
    bool enter_run();
    bool is_sync_sample();
    [[nodiscard]] std::int64_t pass(std::uint32_t duration, std::uint32_t composition_offset);
    [[nodiscard]] std::uint32_t description_index(std::uint32_t number) const;

    const MovieTrack& track_;
    bool complete_ = true;
    std::uint64_t left_;             // bytes that further samples may have
    std::uint64_t decode_time_ = 0;  // of the next sample
    std::uint64_t offset_ = 0;       // of the next sample

    Repeated<SttsEntry> deltas_;
    Repeated<CttsEntry> composition_offsets_;
    std::uint32_t delta_ = 0;  // of the previous sample
    std::uint64_t sample_ = 0;
    std::size_t next_sync_ = 0;
    std::size_t chunk_ = 0;  // number of the current chunk, counted from 1
    std::size_t chunk_entry_ = 0;
    std::uint32_t left_in_chunk_ = 0;

    BoxReader run_table_;
    std::uint64_t first_fragment_time_;
    std::size_t run_ = 0;  // number of the current run, counted from 1
    std::uint32_t left_in_run_ = 0;
};

/// The samples of a track in decoding order with the times at which frames are displayed, after the edit
/// list.
///
/// With B-frames, the times of frames in decoding order go back and forth, and a recording's times must not.
/// So frame i of the recording has the i-th presentation time of the clip: decoding times would be off by the
/// delay of the first picture, and also by the differences between frames if their durations vary. Without
/// B-frames, this is each frame's presentation time. A reader that sorts the frames into display order and
/// assigns these times in order has the exact presentation time of each.
class MovieSamples {
  public:
    /// Movie and track must outlive the iterator. The file is the clip.
    MovieSamples(const Movie& movie, const MovieTrack& track, platform::InputFile* file);

    /// The next sample, or nothing after the last one. Time 0 is the start of the clip.
    [[nodiscard]] std::optional<MovieSample> next();

    /// False after the samples ended early.
    [[nodiscard]] bool complete() const noexcept { return stored_.complete(); }

    /// Bytes of the sample that next() returned last and of samples that follow it without a gap, as many as
    /// `limit` permits.
    [[nodiscard]] std::uint64_t run_length(std::uint64_t limit) const;

  private:
    void look_ahead();

    StoredSamples stored_;
    std::uint64_t origin_;              // media time of the start of the clip
    std::vector<MovieSample> samples_;  // read ahead
    std::vector<std::int64_t> times_;   // as many, in ascending order
    std::size_t next_ = 0;              // in both
    std::size_t ready_ = 0;             // the times before it are final
};
