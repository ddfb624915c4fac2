#include "mp4/sample_cursor.h"

#include <gtest/gtest.h>

#include <numeric>

namespace {

using Numbers = std::vector<std::uint32_t>;

/// A track with sample sizes 1, 2, 3 and so on, in chunks at 1000, 2000 and so on.
SampleTables track_of(std::size_t samples, std::uint32_t chunks, std::vector<StscEntry> entries,
                      Numbers sync = {}) {
    Numbers sizes(samples);
    std::iota(sizes.begin(), sizes.end(), 1U);
    SampleTables track;
    track.sample_sizes = SampleSizes(std::move(sizes));
    track.sample_to_chunk = std::move(entries);
    track.sync_samples = std::move(sync);
    for (std::uint32_t i = 1; i <= chunks; ++i) track.chunk_offsets.push_back(i * 1000);
    return track;
}

/// The samples as "@1000 1* 2 3 @2000 4"; a star marks a key frame.
std::string samples_of(const SampleTables& track) {
    SampleCursor cursor(track);
    std::string text;
    while (const auto sample = cursor.next()) {
        if (sample->chunk_offset) text += "@" + std::to_string(*sample->chunk_offset) + " ";
        text += std::to_string(sample->size) + (sample->key_frame ? "* " : " ");
    }
    return text;
}

/// The number of samples per chunk.
Numbers chunk_lengths(const SampleTables& track) {
    SampleCursor cursor(track);
    Numbers lengths;
    while (const auto sample = cursor.next()) {
        if (sample->chunk_offset) lengths.push_back(0);
        ++lengths.back();
    }
    return lengths;
}

}  // namespace

TEST(SampleCursorTest, EntriesApplyFromTheirFirstChunk) {
    const struct {
        const char* what;
        std::size_t samples;
        std::uint32_t chunks;
        std::vector<StscEntry> entries;
        Numbers lengths;
    } cases[] = {
        {"last chunk is shorter", 25, 3, {{1, 10, 1}}, {10, 10, 5}},
        {"8 samples twice, then 4", 28, 5, {{1, 8, 1}, {3, 4, 1}}, {8, 8, 4, 4, 4}},
        {"surplus chunks yield nothing", 4, 9, {{1, 2, 1}}, {2, 2}},
        {"surplus samples are never read", 100, 2, {{1, 3, 1}}, {3, 3}},
        {"no samples in a chunk", 10, 3, {{1, 0, 1}, {2, 5, 1}}, {}},
        {"no samples from the second entry on", 10, 4, {{1, 2, 1}, {2, 0, 1}, {3, 5, 1}}, {2}},
        {"chunk numbers start at the first entry's", 9, 4, {{3, 2, 1}, {4, 1, 1}}, {2, 1, 1, 1}},
        {"one entry is advanced per chunk", 9, 4, {{1, 1, 1}, {3, 2, 1}, {2, 3, 1}}, {1, 2, 3, 3}},
        {"two entries with the same first chunk", 9, 4, {{1, 1, 1}, {2, 2, 1}, {2, 3, 1}}, {1, 2, 2, 2}},
        {"the first chunk repeated", 6, 3, {{1, 1, 1}, {2, 2, 1}, {1, 9, 1}}, {1, 2, 2}},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(chunk_lengths(track_of(row.samples, row.chunks, row.entries)), row.lengths) << row.what;
    }
}

TEST(SampleCursorTest, SamplesHaveSizeKeyFlagAndChunkOffset) {
    EXPECT_EQ(samples_of(track_of(5, 3, {{1, 2, 1}}, {1, 4})), "@1000 1* 2 @2000 3 4* @3000 5 ");
    EXPECT_EQ(samples_of(track_of(3, 1, {{1, 3, 1}})), "@1000 1* 2* 3* ");
    EXPECT_EQ(samples_of(track_of(5, 1, {{1, 5, 1}}, {4, 1, 4, 99, 0})), "@1000 1* 2 3 4* 5 ");
    EXPECT_EQ(samples_of(track_of(2, 1, {{1, 5, 1}}, {7})), "@1000 1 2 ");

    SampleTables uniform = track_of(1, 2, {{1, 2, 1}});
    uniform.sample_sizes = SampleSizes(512, 0xFFFFFFFF);  // ends with the chunks
    EXPECT_EQ(samples_of(uniform), "@1000 512* 512* @2000 512* 512* ");
}
