// The state file. The recorder waits while the module loads it at the start and saves it at the end.

#include <benchmark/benchmark.h>

#include "platform/clock.h"
#include "store/xml_store.h"

namespace {

using norvane::CXmlStore;
using Operations = std::vector<norvane::Operation>;

Operations operations_of(std::int64_t count) {
    Operations operations(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < operations.size(); ++i) {
        operations[i] = {.device = {7, static_cast<std::uint32_t>(i)}, .attempts = 1};
        operations[i].start_time = platform::ticks_of(static_cast<std::int32_t>(1'700'000'000 + i));
    }
    return operations;
}

void SaveState(benchmark::State& state) {
    CXmlStore store(platform::system_files(), platform::system_clock());
    const Operations operations = operations_of(state.range(0));
    std::vector<norvane::DisconnectRecord> records;
    for (auto _ : state) store.SaveState(records, operations);
    Operations read;
    store.LoadState(records, read);
    if (read != operations) state.SkipWithError("the loaded state differs from the saved one");
    state.SetComplexityN(state.range(0));
}
BENCHMARK(SaveState)->RangeMultiplier(10)->Range(100, 100'000)->Complexity(benchmark::oN);

void LoadState(benchmark::State& state) {
    CXmlStore store(platform::system_files(), platform::system_clock());
    const Operations operations = operations_of(state.range(0));
    std::vector<norvane::DisconnectRecord> records;
    store.SaveState(records, operations);
    for (auto _ : state) {
        Operations read;
        store.LoadState(records, read);
        if (read != operations) state.SkipWithError("the loaded state differs from the saved one");
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(LoadState)->RangeMultiplier(10)->Range(100, 100'000)->Complexity(benchmark::oN);

}  // namespace
