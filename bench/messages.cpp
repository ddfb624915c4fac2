// One document of the host, from text to event. At its start, a host lists all its devices in one document.

#include <benchmark/benchmark.h>
#include <tinyxml2.h>

#include "bench/support/silent_host.h"
#include "engine/nor_vane.h"
#include "host/dispatch.h"
#include "platform/clock.h"
#include "tests/support/memory_store.h"

namespace {

std::string device_list(std::int64_t devices) {
    std::string text = "<Pavo><Devices ID='7'>";
    for (std::int64_t number = 1; number <= devices; ++number) {
        text +=
            "<Device Number='" + std::to_string(number) +
            "' ipAddress='10.0.0.1' NorVaneSupported='1'><Codec><Encoder Number='0'><Channel Connected='0' "
            "Number='0' Time='1700000000'/></Encoder></Codec></Device>";
    }
    return text + "</Devices></Pavo>";
}

void ReceiveDeviceList(benchmark::State& state) {
    const std::string text = device_list(state.range(0));
    for (auto _ : state) {
        bench::DiscardingServer server;
        MemoryStore store;
        {
            norvane::CNorVane engine(server, store, platform::system_clock());
            tinyxml2::XMLDocument document;
            document.Parse(text.data(), text.size());
            DispatchHostMessage(document, engine, platform::system_clock());
        }
        if (store.records.size() != static_cast<std::size_t>(state.range(0)))
            state.SkipWithError("a disconnect was lost");
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(ReceiveDeviceList)->RangeMultiplier(10)->Range(1, 10'000)->Complexity(benchmark::oNLogN);

}  // namespace
