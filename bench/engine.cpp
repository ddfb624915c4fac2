// One gap, from the disconnect to the end of the retrieval, on a site with many open operations. The messages
// of all other cameras wait for it.

#include <benchmark/benchmark.h>

#include "bench/support/silent_host.h"
#include "engine/nor_vane.h"
#include "platform/clock.h"
#include "tests/support/memory_store.h"

namespace {

void open_and_close_gap(norvane::CNorVane& engine, std::int32_t number) {
    const norvane::ChannelKey channel{.device_number = static_cast<std::uint32_t>(number), .devices_id = 7};
    engine.OnDeviceSupported(7, number);
    engine.OnChannelState(&channel, norvane::kDisconnected, nullptr, platform::ticks_of(1'000));
    engine.OnChannelState(&channel, norvane::kConnected, nullptr, platform::ticks_of(2'000));
}

void FillOneGap(benchmark::State& state) {
    const auto site = static_cast<std::int32_t>(state.range(0));
    bench::DiscardingServer server;
    MemoryStore store;
    std::uint64_t gaps = 0;
    {
        norvane::CNorVane engine(server, store, platform::system_clock());
        for (std::int32_t number = 1; number <= site; ++number) open_and_close_gap(engine, number);
        server.requests = 0;
        for (auto _ : state) {
            open_and_close_gap(engine,
                               1 + static_cast<std::int32_t>(gaps++ % static_cast<std::uint64_t>(site)));
            const norvane::Guid guid = server.last_guid;
            engine.OnStorageInfo(guid, 1);
            engine.OnReservation(guid, "tmp", "recordings/");
            engine.OnRetrievalFailed(guid, 5, platform::ticks_of(1'500));
            engine.OnRetrievalDone(guid);
        }
    }
    // Reservation, recordings, release and retry, release and start of the next operation.
    if (server.requests < 6 * gaps) state.SkipWithError("a request is missing");
    if (store.operations.size() != static_cast<std::size_t>(site))
        state.SkipWithError("an operation was lost");
    state.SetComplexityN(state.range(0));
}
BENCHMARK(FillOneGap)->RangeMultiplier(10)->Range(100, 100'000)->Complexity(benchmark::oLogN);

}  // namespace
