#include "mp4/movie_samples.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "mp4/movie_layout.h"

namespace {

/// A decoder keeps at most 16 frames or 32 fields for later display (ITU-T H.264, A.3.1), so that the next
/// time in display order is among those of this many samples.
constexpr std::size_t kMaxReordered = 33;

constexpr std::size_t kReadAhead = 512;
static_assert(kReadAhead > kMaxReordered);

/// Composition offsets are signed.
std::uint64_t extended(std::uint32_t offset) {
    return static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(offset)});
}

/// The empty edits in ticks of the track.
std::uint64_t delay_of(const Movie& movie, const MovieTrack& track) {
    constexpr double kMaxDelay = 1e18;
    if (track.edit.delay == 0 || movie.headers.empty() || movie.headers.front().timescale == 0) return 0;
    const double ticks =
        static_cast<double>(track.edit.delay) * track.time_scale / movie.headers.front().timescale;
    return ticks < kMaxDelay ? static_cast<std::uint64_t>(std::round(ticks)) : 0;
}

/// The media time of the edit's first picture. An edit may begin between two pictures, or before the first
/// one. Players then begin with the next one, but do not search fragments for it.
std::int64_t first_shown(const MovieTrack& track, platform::InputFile* file, std::int64_t media_start) {
    std::optional<std::int64_t> first;
    StoredSamples samples(track, file);
    while (const auto sample = samples.next()) {
        if (sample->time < media_start || (first && sample->time >= *first)) continue;
        first = sample->time;
        if (*first == media_start) break;
    }
    return first.value_or(media_start);
}

std::uint64_t origin_of(const Movie& movie, const MovieTrack& track, platform::InputFile* file) {
    std::uint64_t origin = 0;
    if (track.edit.media_start) {
        const std::int64_t start = *track.edit.media_start;
        origin = static_cast<std::uint64_t>(track.runs.empty() ? first_shown(track, file, start) : start);
    }
    return origin - delay_of(movie, track);
}

}  // namespace

template <typename Entry>
const Entry* StoredSamples::Repeated<Entry>::next() {
    while (entry_ < table_.size() && used_ >= table_[entry_].sample_count) {
        ++entry_;
        used_ = 0;
    }
    if (entry_ == table_.size()) return nullptr;
    ++used_;
    return &table_[entry_];
}

/// A fragmented clip may be a part of a longer stream and then begins with the time in that stream.
StoredSamples::StoredSamples(const MovieTrack& track, platform::InputFile* file)
    : track_(track),
      left_(file == nullptr ? 0 : file->size()),
      deltas_(track.time_to_sample),
      composition_offsets_(track.composition_offsets),
      run_table_(file),
      first_fragment_time_(track.sample_sizes.empty() && !track.runs.empty()
                               ? track.runs.front().decode_time.value_or(0)
                               : 0) {}

std::optional<MovieSample> StoredSamples::next() {
    auto sample = next_of_tables();
    if (!sample) sample = next_of_runs();
    if (!sample) return std::nullopt;
    const std::uint32_t cost = std::max(sample->size, 1U);  // an empty sample must not be free
    complete_ = complete_ && cost <= left_;
    if (!complete_) return std::nullopt;
    left_ -= cost;
    return sample;
}

std::optional<MovieSample> StoredSamples::next_of_tables() {
    if (sample_ >= track_.sample_sizes.size() || !enter_chunk()) return std::nullopt;
    if (const SttsEntry* entry = deltas_.next()) delta_ = entry->sample_delta;
    const CttsEntry* const composition = composition_offsets_.next();
    MovieSample sample{
        .offset = offset_,
        .size = track_.sample_sizes.at(sample_),
        .description = description_index(track_.sample_to_chunk[chunk_entry_].sample_description_index),
        .key_frame = is_sync_sample(),
        .time = pass(delta_, composition == nullptr ? 0 : composition->sample_offset),
        .duration = delta_};
    offset_ += sample.size;
    ++sample_;
    --left_in_chunk_;
    return sample;
}

/// Goes to the next chunk with samples, unless the current one has some left. False after the last one.
bool StoredSamples::enter_chunk() {
    const auto& entries = track_.sample_to_chunk;
    while (left_in_chunk_ == 0) {
        if (chunk_ == track_.chunk_offsets.size() || entries.empty()) return false;
        offset_ = track_.chunk_offsets[chunk_];
        ++chunk_;
        while (chunk_entry_ + 1 < entries.size() && entries[chunk_entry_ + 1].first_chunk <= chunk_)
            ++chunk_entry_;
        left_in_chunk_ = entries[chunk_entry_].samples_per_chunk;
    }
    return true;
}

bool StoredSamples::is_sync_sample() {
    const auto& numbers = track_.sync_samples;
    if (numbers.empty()) return true;
    const std::uint64_t number = sample_ + 1;
    while (next_sync_ < numbers.size() && numbers[next_sync_] < number) ++next_sync_;
    return next_sync_ < numbers.size() && numbers[next_sync_] == number;
}

std::optional<MovieSample> StoredSamples::next_of_runs() {
    if (!enter_run()) return std::nullopt;
    const TrackRun& run = track_.runs[run_ - 1];
    const RunSample fields = run.read_sample(run_table_, left_in_run_ == run.sample_count);
    MovieSample sample{.offset = offset_,
                       .size = fields.size,
                       .description = description_index(run.defaults.description),
                       .key_frame = (fields.flags & (kNotSync | kDependsOnOthers)) == 0,
                       .time = pass(fields.duration, fields.composition_offset),
                       .duration = fields.duration};
    offset_ += sample.size;
    --left_in_run_;
    return sample;
}

/// Goes to the next run, unless the current one has samples left. False after the last one. Runs have
/// samples.
bool StoredSamples::enter_run() {
    if (left_in_run_ > 0) return true;
    if (run_ == track_.runs.size()) return false;
    const TrackRun& run = track_.runs[run_++];
    left_in_run_ = run.sample_count;
    offset_ = run.data_offset;
    if (run.decode_time) decode_time_ = *run.decode_time - first_fragment_time_;
    run_table_.clear();
    run_table_.seek(run.entries_offset);
    return true;
}

/// Advances to the next sample. Returns the presentation time of this one.
std::int64_t StoredSamples::pass(std::uint32_t duration, std::uint32_t composition_offset) {
    const std::uint64_t time = decode_time_ + extended(composition_offset);
    decode_time_ += duration;
    return static_cast<std::int64_t>(time);
}

/// An unknown number means the first description.
std::uint32_t StoredSamples::description_index(std::uint32_t number) const {
    return number >= 1 && number <= track_.descriptions.size() ? number - 1 : 0;
}

MovieSamples::MovieSamples(const Movie& movie, const MovieTrack& track, platform::InputFile* file)
    : stored_(track, file), origin_(origin_of(movie, track, file)) {}

std::optional<MovieSample> MovieSamples::next() {
    if (next_ == ready_) look_ahead();
    if (next_ == ready_) return std::nullopt;
    MovieSample sample = samples_[next_];
    sample.time = times_[next_];
    ++next_;
    return sample;
}

/// Many samples at once, since each call sorts.
void MovieSamples::look_ahead() {
    samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(next_));
    times_.erase(times_.begin(), times_.begin() + static_cast<std::ptrdiff_t>(next_));
    next_ = 0;
    while (samples_.size() < kReadAhead) {
        const auto sample = stored_.next();
        if (!sample) break;
        samples_.push_back(*sample);
        times_.push_back(static_cast<std::int64_t>(static_cast<std::uint64_t>(sample->time) - origin_));
    }
    std::ranges::sort(times_);
    const bool last = samples_.size() < kReadAhead;
    ready_ = last ? samples_.size() : kReadAhead - kMaxReordered + 1;
}

std::uint64_t MovieSamples::run_length(std::uint64_t limit) const {
    const std::span<const MovieSample> ahead(samples_.begin() + static_cast<std::ptrdiff_t>(next_),
                                             samples_.end());
    const MovieSample& last = samples_[next_ - 1];
    std::uint64_t bytes = last.size;
    for (const MovieSample& sample : ahead) {
        if (sample.offset != last.offset + bytes || bytes + sample.size > limit) break;
        bytes += sample.size;
    }
    return bytes;
}
