// The state file. The recorder waits while the module loads it at the start and saves it at the end.

#include <benchmark/benchmark.h>

#include "platform/clock.h"
#include "store/xml_store.h"

namespace {

using norvane::CXmlStore;
using Operations = std::vector<norvane::Operation>;

/// A store and the operations to save in it.
struct LargeState {
    explicit LargeState(std::int64_t count) : operations(static_cast<std::size_t>(count)) {
        for (std::size_t i = 0; i < operations.size(); ++i) {
            operations[i] = {.device = {7, static_cast<std::uint32_t>(i)}, .attempts = 1};
            operations[i].start_time = platform::ticks_of(static_cast<std::int32_t>(1'700'000'000 + i));
        }
    }
    void save() { store.SaveState(records, operations); }
    void load(benchmark::State& state) {
        Operations read;
        store.LoadState(records, read);
        if (read != operations) state.SkipWithError("the loaded state differs from the saved one");
    }

    CXmlStore store{platform::system_files(), platform::system_clock()};
    Operations operations;
    std::vector<norvane::DisconnectRecord> records;
};

void SaveState(benchmark::State& state) {
    LargeState large(state.range(0));
    for (auto _ : state) large.save();
    large.load(state);
    state.SetComplexityN(state.range(0));
}
BENCHMARK(SaveState)->RangeMultiplier(10)->Range(100, 100'000)->Complexity(benchmark::oN);

void LoadState(benchmark::State& state) {
    LargeState large(state.range(0));
    large.save();
    for (auto _ : state) large.load(state);
    state.SetComplexityN(state.range(0));
}
BENCHMARK(LoadState)->RangeMultiplier(10)->Range(100, 100'000)->Complexity(benchmark::oN);

}  // namespace
