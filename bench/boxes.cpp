// The sample tables of one clip. The conversion starts after all of them are read, and a hostile clip may
// consist of tables only.

#include <benchmark/benchmark.h>

#include <numeric>

#include "mp4/box_walk.h"
#include "mp4/sample_cursor.h"
#include "tests/support/clips.h"
#include "tests/support/memory_files.h"

namespace {

std::string clip_of(std::int64_t samples) {
    ClipTrack track{.samples = std::vector(static_cast<std::size_t>(samples), nal("x"))};
    track.sync.emplace(track.samples.size());
    std::iota(track.sync->begin(), track.sync->end(), 1U);
    return make_clip(track);
}

void GatherTables(benchmark::State& state) {
    MemoryInput file(clip_of(state.range(0)));
    for (auto _ : state) {
        BoxReader in(&file);
        const auto tracks = gather_tracks(in, [](const std::string&) {});
        if (tracks.size() != 1 ||
            tracks.front().sync_samples.size() != static_cast<std::size_t>(state.range(0)))
            state.SkipWithError("not all entries were read");
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(GatherTables)->RangeMultiplier(10)->Range(1'000, 1'000'000)->Complexity(benchmark::oN);

/// Finds every sample after the tables are read.
void WalkSamples(benchmark::State& state) {
    MemoryInput file(clip_of(state.range(0)));
    BoxReader in(&file);
    const auto tracks = gather_tracks(in, [](const std::string&) {});
    for (auto _ : state) {
        SampleCursor cursor(tracks.front());
        std::int64_t key_frames = 0;
        while (const auto sample = cursor.next()) key_frames += sample->key_frame ? 1 : 0;
        if (key_frames != state.range(0)) state.SkipWithError("not every sample was seen");
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(WalkSamples)->RangeMultiplier(10)->Range(1'000, 1'000'000)->Complexity(benchmark::oN);

}  // namespace
