// Queueing a message, which takes time of the host's own threads, and the idle module.

#include <chrono>
#include <thread>

#include "bench/ratios/host.h"
#include "tools/host_kit/host_documents.h"

namespace bench {
namespace {

constexpr std::size_t kBurst = 100'000;
constexpr std::size_t kFew = 100;

/// Messages without an effect, so only the queue and the parser are measured.
std::vector<std::string> texts(std::size_t count) {
    return std::vector(count, host_kit::device_document({.devices_id = 7, .number = 3}, "10.0.0.1"));
}

double work_of_small_bursts(Host& host, std::size_t bursts) {
    const auto few = texts(kFew);
    double seconds = 0;
    for (std::size_t i = 0; i < bursts; ++i) seconds += host.run(few).work_seconds;
    return seconds / static_cast<double>(bursts * kFew);
}

Figures idle_figures(Host& host, const Effort& effort) {
    const std::chrono::milliseconds time(effort.sanity ? 300 : 5'000);
    const double seconds = std::chrono::duration<double>(time).count();
    const auto before = host.idle();
    std::this_thread::sleep_for(time);
    const auto after = host.idle();
    return {
        cost("idle: wake-ups", "per second", {(after.sleeps - before.sleeps) / seconds}, 10.5),
        cost("idle: processor time", "ms per second", {(after.seconds - before.seconds) / seconds * 1e3}, 1)};
}

}  // namespace

Figures queue_figures(const Effort& effort) {
    Host host(effort.module);
    const auto burst_texts = texts(effort.scaled(kBurst));
    const auto count = static_cast<double>(burst_texts.size());
    Rounds microseconds;
    Rounds bytes;
    Rounds burst_work;
    Rounds few_work;
    for (int round = 0; round < effort.many_rounds(); ++round) {
        few_work.push_back(work_of_small_bursts(host, effort.scaled(std::size_t{100})));
        const Host::BatchCost burst = host.run(burst_texts);
        microseconds.push_back(burst.queue_seconds / count * 1e6);
        bytes.push_back(burst.queue_bytes / count);
        burst_work.push_back(burst.work_seconds / count);
    }
    Figures figures = {cost("queueing while the worker is busy: time", "us per message", microseconds, 1),
                       cost("queueing while the worker is busy: memory", "bytes per message", bytes, 256),
                       ratio("time per message, burst of 100,000 vs. 100", burst_work, few_work, 1.25)};
    const auto idle = idle_figures(host, effort);
    figures.insert(figures.end(), idle.begin(), idle.end());
    return figures;
}

}  // namespace bench
