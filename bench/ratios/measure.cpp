#include "bench/ratios/measure.h"

#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>

namespace bench {
namespace {

double quantile(Rounds rounds, double part) {
    std::ranges::sort(rounds);
    return rounds[static_cast<std::size_t>(part * static_cast<double>(rounds.size() - 1))];
}

/// The slowest of the fastest fifth of the rounds: the fastest ones may be outliers.
double fast_round(const Rounds& rounds) {
    return quantile(rounds, 0.2);
}

double seconds_of(const ::timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

double seconds_of_children() {
    ::rusage usage{};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    return seconds_of(usage.ru_utime) + seconds_of(usage.ru_stime);
}

}  // namespace

double proc_number(const std::string& file, const std::string& name) {
    std::ifstream in("/proc/self/" + file);
    double number = 0;
    for (std::string word; in >> word;)
        if (word == name && in >> number) return number;
    throw WrongResult("no " + name + " in /proc/self/" + file);
}

void require(bool holds, const std::string& failure) {
    if (!holds) throw WrongResult(failure);
}

double thread_seconds() {
    ::timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double time_of(const std::function<void()>& body) {
    const double before = thread_seconds();
    body();
    return thread_seconds() - before;
}

double time_of_command(const std::string& command) {
    const double before = seconds_of_children();
    // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): the command is ours, and no other thread runs
    require(std::system(command.c_str()) == 0, "failed: " + command);
    return seconds_of_children() - before;
}

double peak_memory_of(const std::function<void()>& body) {
    ::malloc_trim(0);  // otherwise the body reuses freed memory that is still resident
    std::ofstream("/proc/self/clear_refs") << 5;  // resets the peak
    const double before = proc_number("status", "VmRSS:");
    body();
    return (proc_number("status", "VmHWM:") - before) * 1024;
}

double io_calls() {
    return proc_number("io", "syscr:") + proc_number("io", "syscw:");
}

Figure cost(const std::string& name, const std::string& unit, const Rounds& rounds,
            std::optional<double> limit) {
    return {.name = name,
            .unit = unit,
            .value = fast_round(rounds),
            .low = quantile(rounds, 0.25),
            .high = quantile(rounds, 0.75),
            .limit = limit};
}

Figure ratio(const std::string& name, const Rounds& ours, const Rounds& theirs, std::optional<double> limit) {
    Rounds ratios;
    for (std::size_t i = 0; i < ours.size(); ++i) ratios.push_back(ours[i] / theirs[i]);
    Figure figure = cost(name, "x", ratios, limit);
    figure.value = fast_round(ours) / fast_round(theirs);
    return figure;
}

}  // namespace bench
