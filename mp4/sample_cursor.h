#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "mp4/sample_tables.h"

/// Size and position of a sample.
struct Sample {
    std::uint32_t size = 0;
    bool key_frame = false;
    /// Offset of the chunk; set for its first sample only. The others follow without gaps.
    std::optional<std::uint32_t> chunk_offset;
};

/// Iterates over a track's samples in decoding order, chunk by chunk, until there are no more sizes or
/// chunks. Takes linear time after sorting the tables, also for tables that are unsorted or have duplicates.
class SampleCursor {
  public:
    /// The tables must be complete and outlive the cursor.
    explicit SampleCursor(const SampleTables& track);

    /// The next sample, or nothing after the last one.
    [[nodiscard]] std::optional<Sample> next();

    /// Bytes of the sample that next() returned last and of whole samples after it in the same chunk, as many
    /// as `limit` permits.
    [[nodiscard]] std::uint64_t run_length(std::uint64_t limit) const;

  private:
    bool enter_chunk();
    void leave_chunk();
    bool begins_entry();
    bool is_sync_sample();

    const SampleTables& track_;
    std::vector<std::uint32_t> first_chunks_;  // of all entries, sorted
    std::size_t next_first_ = 0;
    std::vector<std::uint32_t> sync_samples_;  // sorted
    std::size_t next_sync_ = 0;

    std::size_t entry_ = 0;          // the current sample-to-chunk entry
    std::uint32_t chunk_number_;     // counted from the first entry's first chunk
    std::size_t next_chunk_ = 0;     // index into the chunk offsets
    std::uint32_t in_chunk_ = 0;     // samples already returned from the current chunk
    std::uint64_t next_sample_ = 0;  // index into the sizes
};
