#include "bench/ratios/measure.h"

#include <ctime>

#include <algorithm>

namespace bench {
namespace {

double quantile(Rounds rounds, double part) {
    std::ranges::sort(rounds);
    return rounds[static_cast<std::size_t>(part * static_cast<double>(rounds.size() - 1))];
}

Figure figure_of(const std::string& name, const std::string& unit, double value, const Rounds& rounds,
                 double limit) {
    return {.name = name,
            .unit = unit,
            .value = value,
            .median = quantile(rounds, 0.5),
            .low = quantile(rounds, 0.25),
            .high = quantile(rounds, 0.75),
            .limit = limit};
}

}  // namespace

void require(bool holds, const std::string& what) {
    if (!holds) throw WrongResult(what);
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

double second_fastest(Rounds rounds) {
    std::ranges::sort(rounds);
    return rounds[std::min<std::size_t>(1, rounds.size() - 1)];
}

Figure ratio(const std::string& name, const Rounds& ours, const Rounds& theirs, double limit) {
    Rounds ratios;
    for (std::size_t i = 0; i < ours.size(); ++i) ratios.push_back(ours[i] / theirs[i]);
    return figure_of(name, "x", second_fastest(ours) / second_fastest(theirs), ratios, limit);
}

Figure cost(const std::string& name, const std::string& unit, const Rounds& rounds, double limit) {
    return figure_of(name, unit, second_fastest(rounds), rounds, limit);
}

}  // namespace bench
