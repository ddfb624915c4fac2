// The time per sample must not depend on the number of samples: a camera that was disconnected for a day
// sends clips of hours, and damaged or hostile tables must not keep the worker busy.

#include "bench/ratios/retrieval.h"
#include "bench/support/table_clip.h"

namespace bench {
namespace {

constexpr double kMaxGrowth = 1.5;
constexpr std::uint32_t kFew = 2'000;
constexpr std::uint32_t kMany = 200'000;

/// Seconds per sample of a new clip, averaged over several conversions.
double seconds_a_sample(Retrieval& retrieval, TableShape shape, std::uint32_t samples, int times) {
    const std::string clip = "grown.mp4";
    write_table_clip(clip, shape, samples);
    double seconds = 0;
    for (int i = 0; i < times; ++i) {
        seconds += retrieval.convert(clip);
        if (i == 0) require_complete(retrieval.recording(), samples);
        retrieval.remove_recording();
    }
    return seconds / times / samples;
}

Figure figure_of(TableShape shape, const std::string& name, const Effort& effort) {
    Host host(effort.module);
    Retrieval retrieval(host, "recordings/");
    Rounds many;
    Rounds few;
    for (int round = 0; round < effort.rounds() / 2 + 1; ++round) {
        few.push_back(seconds_a_sample(retrieval, shape, effort.scaled(kFew), effort.scaled(20)));
        many.push_back(seconds_a_sample(retrieval, shape, effort.scaled(kMany), 1));
    }
    return ratio("time per sample, 200,000 vs. 2,000 samples: " + name, many, few, kMaxGrowth);
}

}  // namespace

Figures growth_figures(const Effort& effort) {
    Figures all;
    for (const auto& [shape, name] : kTableShapes) all.push_back(figure_of(shape, name, effort));
    return all;
}

}  // namespace bench
