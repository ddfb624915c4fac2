// The state file. The recorder's start waits while it is read, its end while it is written.

#include <benchmark/benchmark.h>

#include <fstream>

#include "platform/clock.h"
#include "store/state_names.h"
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
    if (read != operations) state.SkipWithError("what was saved is not what is read");
    state.SetComplexityN(state.range(0));
}
BENCHMARK(SaveState)->RangeMultiplier(10)->Range(100, 100'000)->Complexity(benchmark::oN);

void load(benchmark::State& state, bool as_saved) {
    CXmlStore store(platform::system_files(), platform::system_clock());
    const Operations operations = operations_of(state.range(0));
    std::vector<norvane::DisconnectRecord> records;
    store.SaveState(records, operations);
    if (!as_saved)
        std::fstream(norvane::state::kFileName).write("<?xml version='1.0' encoding='UTF-8'?>", 38);
    for (auto _ : state) {
        Operations read;
        store.LoadState(records, read);
        if (read != operations) state.SkipWithError("what was saved is not what is read");
    }
    state.SetComplexityN(state.range(0));
}

void LoadState(benchmark::State& state) {
    load(state, true);
}
BENCHMARK(LoadState)->RangeMultiplier(10)->Range(100, 100'000)->Complexity(benchmark::oN);

/// A file that somebody has edited takes the way through a document.
void LoadEditedState(benchmark::State& state) {
    load(state, false);
}
BENCHMARK(LoadEditedState)->RangeMultiplier(10)->Range(100, 100'000)->Complexity(benchmark::oN);

}  // namespace
