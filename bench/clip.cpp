// One clip, from file to file. The worker is busy for this long after each download.

#include <benchmark/benchmark.h>

#include "bench/support/table_clip.h"
#include "convert/mp4_parser.h"
#include "platform/clock.h"

namespace {

/// Arguments: the index of the table shape, the number of samples.
void ConvertClip(benchmark::State& state) {
    const auto& [shape, name] = bench::kTableShapes.at(static_cast<std::size_t>(state.range(0)));
    const auto samples = static_cast<std::uint32_t>(state.range(1));
    bench::write_table_clip("original.mp4", shape, samples);
    StreamRecord request;
    request.sourceFile = "clip.mp4";
    request.outputDirectory = "recordings/";
    const auto no_log = [](std::int32_t, const std::string&) {};
    for (auto _ : state) {
        // The converter removes its clip, so it gets a hard link.
        std::filesystem::create_hard_link("original.mp4", "clip.mp4");
        norvane::Mp4Parser parser(request, {platform::system_files(), platform::system_sleeper(), no_log});
        if (parser.parse_container() != norvane::kConverted) {
            state.SkipWithError("not converted");
            break;
        }
    }
    state.SetLabel(name);
    state.SetItemsProcessed(state.iterations() * samples);
    state.SetComplexityN(samples);
}
BENCHMARK(ConvertClip)
    ->ArgsProduct({{0, 1, 2, 3, 4}, {2'000, 20'000, 200'000}})
    ->Unit(benchmark::kMillisecond)
    ->Complexity(benchmark::oN);

}  // namespace
