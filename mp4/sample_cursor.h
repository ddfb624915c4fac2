#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "mp4/sample_tables.h"

/// Where the next sample is.
struct Sample {
    std::uint32_t size = 0;
    bool key_frame = false;
    /// Offset of the chunk, for its first sample; the samples behind it follow each other without a gap.
    std::optional<std::uint32_t> chunk_offset;
};

/// Goes through a track's samples in decoding order: chunk by chunk, until the sizes or the chunks are used
/// up. Going through a track costs as much as its tables are long, also where they are unsorted or repeat
/// themselves.
class SampleCursor {
  public:
    /// The tables have to be complete and outlive the cursor.
    explicit SampleCursor(const SampleTables& track);

    /// The next sample, or nothing behind the last one.
    [[nodiscard]] std::optional<Sample> next();

  private:
    bool enter_chunk();
    void leave_chunk();
    bool begins_entry();
    bool is_sync_sample();

    const SampleTables& track_;
    std::vector<std::uint32_t> first_chunks_;  // of the entries, in order: does one begin at a chunk?
    std::size_t next_first_ = 0;
    std::vector<std::uint32_t> sync_samples_;  // in order, without repeats
    std::size_t next_sync_ = 0;

    std::size_t entry_ = 0;          // the current sample-to-chunk entry
    std::uint32_t chunk_number_;     // as the entries count them, which need not begin at 1
    std::size_t next_chunk_ = 0;     // index into the chunk offsets
    std::uint32_t in_chunk_ = 0;     // samples of the current chunk already given
    std::uint64_t next_sample_ = 0;  // index into the sizes
};
