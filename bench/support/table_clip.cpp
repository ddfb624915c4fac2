#include "bench/support/table_clip.h"

#include <algorithm>
#include <fstream>
#include <numeric>
#include <random>

#include "tools/clip_maker/clip_maker.h"

namespace bench {
namespace {

constexpr std::size_t kSampleBytes = 300;

using Words = std::vector<std::uint32_t>;

/// One entry per chunk, in the given order of chunks.
std::string chunk_entries(const Words& chunks) {
    Words words;
    for (const std::uint32_t chunk : chunks) words.insert(words.end(), {chunk, 1, 1});
    return clip_maker::table_box("stsc", chunks.size(), words);
}

}  // namespace

void write_table_clip(const std::filesystem::path& path, TableShape shape, std::uint32_t samples) {
    using clip_maker::nal, clip_maker::unit_of;
    clip_maker::ClipTrack track{.samples = std::vector(samples, nal(unit_of(kSampleBytes - 4)))};
    Words numbers(samples);
    std::iota(numbers.begin(), numbers.end(), 1U);
    // NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp): the same order in every run
    if (shape == TableShape::kUnsorted) std::ranges::shuffle(numbers, std::mt19937(1));
    if (shape == TableShape::kAllSync || shape == TableShape::kUnsorted) track.sync = numbers;
    if (shape == TableShape::kOneIn25) {
        track.sync.emplace();
        for (std::uint32_t number = 1; number <= samples; number += 25) track.sync->push_back(number);
    }
    if (shape == TableShape::kOneAChunk || shape == TableShape::kUnsorted) {
        track.chunks.assign(samples, 1);
        track.boxes["stsc"] = chunk_entries(numbers);
    }
    std::ofstream(path, std::ios::binary) << clip_maker::make_clip(track);
}

}  // namespace bench
