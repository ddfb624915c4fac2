// The state file of a large site. The recorder waits for it when the module starts and ends.

#include "bench/ratios/host.h"
#include "platform/clock.h"
#include "store/state_names.h"
#include "store/xml_store.h"
#include "tests/support/temp_directory.h"

namespace bench {
namespace {

constexpr int kFew = 10'000;
constexpr int kMany = 100'000;
constexpr double kMaxGrowth = 2;
constexpr double kMaxBytes = 4'096;  // per operation

void save_operations(int count) {
    std::vector<norvane::DisconnectRecord> none;
    std::vector<norvane::Operation> operations(static_cast<std::size_t>(count));
    for (std::size_t i = 0; i < operations.size(); ++i) {
        norvane::Operation& operation = operations[i];
        operation.device = {7, static_cast<std::uint32_t>(i % 20'000)};
        // Real GUIDs are not in ascending order.
        for (std::size_t byte = 0; byte < 4; ++byte)
            operation.guid.data[byte] = static_cast<std::uint8_t>(i * 0x9E3779B1 >> 8 * byte);
        operation.end_time = platform::ticks_of(1'700'000'000);
    }
    norvane::CXmlStore(platform::system_files(), platform::system_clock()).SaveState(none, operations);
}

struct Seconds {
    Rounds start;  // per operation
    Rounds end;
};

/// Starts and ends the module over this number of saved operations.
void start_and_end(const Effort& effort, int operations, Seconds& seconds) {
    save_operations(operations);
    const std::string before = read_file(norvane::state::kFileName);
    Host host(effort.module);
    seconds.start.push_back(host.open_seconds() / operations);
    require(read_file(norvane::state::kFileName).size() < 100, "the state was not loaded");
    seconds.end.push_back(host.close() / operations);
    require(read_file(norvane::state::kFileName) == before, "the saved state differs from the loaded one");
}

}  // namespace

Figures state_figures(const Effort& effort) {
    Seconds few;
    Seconds many;
    const int large = effort.scaled(kMany);
    save_operations(large);
    const double bytes = peak_memory_of([&] { Host(effort.module).close(); });
    for (int round = 0; round < effort.rounds(); ++round) {
        start_and_end(effort, effort.scaled(kFew), few);
        start_and_end(effort, large, many);
    }
    std::filesystem::remove(norvane::state::kFileName);
    return {ratio("start, time per operation: 100,000 vs. 10,000", many.start, few.start, kMaxGrowth),
            ratio("end, time per operation: 100,000 vs. 10,000", many.end, few.end, kMaxGrowth),
            cost("start and end: memory", "bytes per operation", {bytes / large}, kMaxBytes)};
}

}  // namespace bench
