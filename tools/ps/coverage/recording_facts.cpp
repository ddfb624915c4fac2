#include "tools/ps/coverage/recording_facts.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <optional>

#include "tools/cli/exit_status.h"
#include "tools/cli/jobs.h"
#include "tools/cli/progress_bar.h"
#include "tools/cli/recording_paths.h"
#include "tools/ps/command.h"
#include "tools/ps/coverage/facts_cache.h"
#include "tools/reader/recording_info.h"
#include "tools/reader/verify.h"

namespace ps_tool {
namespace {

constexpr std::int64_t kMinFrameDuration = 1;  // ms

/// The distance in the middle, or 0 without distances.
template <typename Counts>
std::int64_t median_of(const Counts& counts) {
    const auto total = std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
    std::uint64_t before = 0;
    for (std::size_t distance = 0; distance < counts.size(); ++distance) {
        before += counts.at(distance);
        if (before * 2 > total) return static_cast<std::int64_t>(distance);
    }
    return 0;
}

/// Spans of several slots may overlap.
std::vector<FrameSpan> joined(std::vector<FrameSpan> spans) {
    std::ranges::sort(spans, {}, &FrameSpan::first);
    std::vector<FrameSpan> all;
    for (const FrameSpan& span : spans) {
        if (all.empty() || span.first > all.back().end) {
            all.push_back(span);
            continue;
        }
        all.back().last = std::max(all.back().last, span.last);
        all.back().end = std::max(all.back().end, span.end);
    }
    return all;
}

std::string name_of(const reader::Report& report) {
    const auto* const used =
        std::ranges::find_if(report.packets, [](std::uint32_t packets) { return packets > 0; });
    if (used == report.packets.end()) return "";
    return report.map.streams.at(static_cast<std::size_t>(used - report.packets.begin())).name;
}

void drop_far_spans(const std::optional<reader::RecordingPath>& path, std::vector<FrameSpan>& spans) {
    constexpr std::int64_t kMaxDistance = 2 * kDay;
    if (!path) return;
    const std::int64_t start = reader::instant_of(path->local_start);
    std::erase_if(spans, [=](const FrameSpan& span) {
        return span.first < start - kMaxDistance || span.end > start + kMaxDistance;
    });
}

/// Facts, or why there are none.
struct Attempt {
    RecordingFacts facts;
    std::optional<reader::CannotOpen> error;
    FileStamp stamp;
    bool cached = false;
};

Attempt read_recording(const std::string& path, const FactsCache& cache) {
    Attempt attempt;
    attempt.stamp = stamp_of(path);  // before reading, so that a later change is noticed next time
    if (const RecordingFacts* const known = cache.find(path, attempt.stamp)) {
        attempt.facts = *known;
        attempt.cached = true;
        return attempt;
    }
    try {
        reader::Recording recording(path);
        attempt.facts = facts_of(recording);
    } catch (const reader::CannotOpen& error) {
        attempt.error = error;
    }
    return attempt;
}

}  // namespace

void FrameTimes::add(std::uint32_t slot_number, std::int64_t time) {
    if (slot_number >= slots_.size()) return;  // sound does not show that there are pictures
    auto& slot = slots_.at(slot_number);
    if (!slot) slot = std::make_unique<Slot>();
    const std::int64_t distance = time - slot->span.last;
    if (slot->open && distance >= 0 && distance <= std::int64_t{kSpanGap}) {
        ++slot->distances.at(static_cast<std::size_t>(distance));
        ++all_->at(static_cast<std::size_t>(distance));
        slot->span.last = time;
        return;
    }
    if (slot->open) end_span(*slot);
    slot->open = true;
    slot->span = {time, time, time};
}

void FrameTimes::end_span(Slot& slot) {
    const std::int64_t median = median_of(slot.distances);
    const bool lone = slot.span.first == slot.span.last;
    slot.span.end = lone ? slot.span.last : slot.span.last + std::max(median, kMinFrameDuration);
    ended_.push_back(slot.span);
    slot.distances.fill(0);
}

std::vector<FrameSpan> FrameTimes::spans() {
    for (const auto& slot : slots_) {
        if (slot && slot->open) end_span(*slot);
        if (slot) slot->open = false;
    }
    const std::int64_t usual = std::max(median_of(*all_), kMinFrameDuration);
    for (FrameSpan& span : ended_) {
        if (span.end == span.last) span.end += usual;
    }
    return joined(std::move(ended_));
}

void FactsBuilder::add(const reader::Packet& packet) {
    if (packet.time.plausible()) times_.add(packet.slot, reader::instant_of(packet.time));
}

RecordingFacts FactsBuilder::facts(const reader::Report& report) {
    const auto path = reader::parse_recording_path(report.path);
    RecordingFacts facts{.clip_id = reader::clip_id_in(report.path),
                         .name = name_of(report),
                         .spans = times_.spans(),
                         .bytes = report.data_size + report.index_size,
                         .faulty = !report.verified(),
                         .repairable = report.repairable()};
    if (path) facts.path_time = reader::instant_of(path->local_start);
    drop_far_spans(path, facts.spans);
    return facts;
}

RecordingFacts facts_of(reader::Recording& recording) {
    FactsBuilder builder;
    const reader::Report report =
        reader::verify(recording, reader::VerifyDepth::kHeaders,
                       [&builder](const reader::Packet& packet) { builder.add(packet); });
    return builder.facts(report);
}

std::vector<RecordingFacts> read_facts(const FactsOptions& options, cli::UnusableInputs& unusable) {
    const std::vector<std::string> paths = cli::recording_paths(options.paths, unusable);
    const bool caching = !options.cache_directory.empty();
    const FactsCache cache = caching ? FactsCache::load(options.cache_directory) : FactsCache();
    FactsCache used;
    std::vector<RecordingFacts> result;
    result.reserve(paths.size());
    cli::ProgressBar bar(stderr);
    const auto read = [&](std::size_t i) { return read_recording(paths[i], cache); };
    const auto take = [&](std::size_t i, Attempt attempt) {
        if (attempt.error) {
            bar.clear();
            unusable.add(attempt.error->path(), attempt.error->reason());
            return;
        }
        if (caching) used.add(paths[i], attempt.stamp, attempt.facts);
        result.push_back(std::move(attempt.facts));
        if (attempt.cached) return;
        bar.show(fmt::format("{} of {}", i + 1, paths.size()),
                 static_cast<double>(i + 1) / static_cast<double>(paths.size()));
    };
    cli::run_in_order<Attempt>(paths.size(), options.jobs, read, take);
    bar.clear();
    try {
        if (caching) used.replace(cache, options.paths, options.cache_directory);
    } catch (const cli::CannotRun& error) {  // the results do not need it
        cli::print_error(kProgram, error.what());
    }
    return result;
}

}  // namespace ps_tool
