#include "mp4/sample_cursor.h"

#include <algorithm>

namespace {

constexpr std::uint64_t kMaxSamplesOfRun = 1'000;  // samples may be empty

std::vector<std::uint32_t> sorted(std::vector<std::uint32_t> numbers) {
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

std::vector<std::uint32_t> first_chunks(const std::vector<StscEntry>& entries) {
    std::vector<std::uint32_t> numbers;
    numbers.reserve(entries.size());
    for (const StscEntry& entry : entries) numbers.push_back(entry.first_chunk);
    return sorted(std::move(numbers));
}

}  // namespace

SampleCursor::SampleCursor(const SampleTables& track)
    : track_(track),
      first_chunks_(first_chunks(track.sample_to_chunk)),
      sync_samples_(sorted(track.sync_samples)),
      chunk_number_(track.sample_to_chunk.front().first_chunk) {}

std::optional<Sample> SampleCursor::next() {
    if (next_sample_ >= track_.sample_sizes.size()) return std::nullopt;
    if (in_chunk_ == 0 && !enter_chunk()) return std::nullopt;
    Sample sample{
        .size = track_.sample_sizes.at(next_sample_), .key_frame = is_sync_sample(), .chunk_offset = {}};
    if (in_chunk_ == 0) sample.chunk_offset = track_.chunk_offsets[next_chunk_];
    ++next_sample_;
    ++in_chunk_;
    if (in_chunk_ == track_.sample_to_chunk[entry_].samples_per_chunk) leave_chunk();
    return sample;
}

std::uint64_t SampleCursor::run_length(std::uint64_t limit) const {
    std::uint64_t bytes = track_.sample_sizes.at(next_sample_ - 1);
    if (in_chunk_ == 0) return bytes;  // it was the last one of its chunk
    const std::uint64_t in_chunk = track_.sample_to_chunk[entry_].samples_per_chunk - in_chunk_;
    const std::uint64_t end =
        std::min(track_.sample_sizes.size(), next_sample_ + std::min(in_chunk, kMaxSamplesOfRun));
    for (std::uint64_t i = next_sample_; i < end && bytes + track_.sample_sizes.at(i) <= limit; ++i)
        bytes += track_.sample_sizes.at(i);
    return bytes;
}

/// False if there are no more samples. An entry with 0 samples per chunk ends the track: its chunks yield no
/// sample that would advance the chunk number.
bool SampleCursor::enter_chunk() {
    return next_chunk_ < track_.chunk_offsets.size() && track_.sample_to_chunk[entry_].samples_per_chunk != 0;
}

void SampleCursor::leave_chunk() {
    in_chunk_ = 0;
    ++next_chunk_;
    ++chunk_number_;
    if (begins_entry() && entry_ + 1 < track_.sample_to_chunk.size()) ++entry_;
}

/// Chunk numbers only grow, until they wrap around, so that one pass over the sorted first chunks is enough.
bool SampleCursor::begins_entry() {
    if (chunk_number_ == 0) next_first_ = 0;
    while (next_first_ < first_chunks_.size() && first_chunks_[next_first_] < chunk_number_) ++next_first_;
    return next_first_ < first_chunks_.size() && first_chunks_[next_first_] == chunk_number_;
}

/// Sample numbers only grow, so that one pass over the sorted sync samples is enough.
bool SampleCursor::is_sync_sample() {
    if (sync_samples_.empty()) return true;
    const std::uint64_t number = next_sample_ + 1;
    while (next_sync_ < sync_samples_.size() && sync_samples_[next_sync_] < number) ++next_sync_;
    return next_sync_ < sync_samples_.size() && sync_samples_[next_sync_] == number;
}
