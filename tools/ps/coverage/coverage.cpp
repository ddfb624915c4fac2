#include "tools/ps/coverage/coverage.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <tuple>

#include "ps/index_layout.h"
#include "tools/cli/duration.h"
#include "tools/cli/plural.h"

namespace ps_tool {
namespace {

using FactsList = std::vector<const RecordingFacts*>;

constexpr std::int64_t kTouching = 1;  // ms; stored times are rounded

Interval interval_of(const FrameSpan& span) {
    return {span.first, span.end};
}

/// The spans of several recordings by their first frames.
std::vector<FrameSpan> sorted_spans(const FactsList& recordings) {
    std::vector<FrameSpan> spans;
    for (const RecordingFacts* one : recordings)
        spans.insert(spans.end(), one->spans.begin(), one->spans.end());
    std::ranges::sort(spans, {}, &FrameSpan::first);
    return spans;
}

/// The time that several of the spans contain. A last frame does not overlap the frame that follows it.
Intervals overlaps_of(const std::vector<FrameSpan>& spans) {
    Intervals overlaps;
    std::int64_t last = spans.empty() ? 0 : spans.front().first;
    std::int64_t end = last;
    for (const FrameSpan& span : spans) {
        const Interval both{span.first, std::min(span.end, end)};
        if (span.first + kTouching < last && both.length() > kTouching) overlaps.push_back(both);
        last = std::max(last, span.last);
        end = std::max(end, span.end);
    }
    return merge(std::move(overlaps));
}

Intervals clipped(const Intervals& intervals, const Interval& period) {
    Intervals inside;
    for (const Interval& one : intervals) {
        const Interval part{std::max(one.begin, period.begin), std::min(one.end, period.end)};
        if (part.length() > 0) inside.push_back(part);
    }
    return inside;
}

/// The recorded part of the period. It includes pauses of a millisecond, also at the ends of the period.
Intervals recorded_in(const Interval& period, const std::vector<FrameSpan>& spans) {
    Intervals all;
    for (const FrameSpan& span : spans) all.push_back(interval_of(span));
    Intervals recorded = clipped(merge(std::move(all), kTouching), period);
    if (recorded.empty()) return recorded;
    if (recorded.front().begin - period.begin <= kTouching) recorded.front().begin = period.begin;
    if (period.end - recorded.back().end <= kTouching) recorded.back().end = period.end;
    return recorded;
}

std::int64_t first_frame(const FactsList& recordings) {
    std::int64_t first = recordings.front()->spans.front().first;
    for (const RecordingFacts* one : recordings) {
        for (const FrameSpan& span : one->spans) first = std::min(first, span.first);
    }
    return first;
}

/// One name of a camera and its recordings, which all have frames.
struct NamedRecordings {
    std::string name;
    FactsList recordings;
};

/// True if the recordings of two names overlap by more than a second, up to which start times are rounded.
bool overlap(const std::vector<NamedRecordings>& names) {
    Intervals all;
    std::int64_t sum = 0;
    for (const NamedRecordings& one : names) {
        Intervals own;
        for (const FrameSpan& span : sorted_spans(one.recordings)) own.push_back(interval_of(span));
        own = merge(std::move(own));
        sum += total_length(own);
        all.insert(all.end(), own.begin(), own.end());
    }
    return sum - total_length(merge(std::move(all))) > kSpanGap;
}

CameraCoverage camera_of(const std::string& clip_id, const std::vector<NamedRecordings>& names) {
    CameraCoverage camera;
    camera.clip_id = clip_id;
    for (const NamedRecordings& one : names) {
        if (!one.name.empty()) camera.names.push_back(one.name);
        camera.recordings.insert(camera.recordings.end(), one.recordings.begin(), one.recordings.end());
    }
    return camera;
}

/// The cameras that share a clip id: normally one.
std::vector<CameraCoverage> cameras_of(const std::string& clip_id, const FactsList& recordings) {
    std::map<std::string, FactsList> by_name;
    FactsList without_frames;
    for (const RecordingFacts* one : recordings)
        (one->spans.empty() ? without_frames : by_name[one->name]).push_back(one);
    std::vector<NamedRecordings> names;
    names.reserve(by_name.size());
    for (auto& [name, list] : by_name) names.push_back({name, std::move(list)});
    std::ranges::sort(names, {}, [](const NamedRecordings& one) { return first_frame(one.recordings); });

    std::vector<CameraCoverage> cameras;
    if (names.empty() || (!clip_id.empty() && !overlap(names))) {
        cameras.push_back(camera_of(clip_id, names));
    } else {
        for (const NamedRecordings& one : names) cameras.push_back(camera_of(clip_id, {one}));
    }
    auto& first = cameras.front().recordings;
    first.insert(first.end(), without_frames.begin(), without_frames.end());
    return cameras;
}

/// False if the time in the recording's path is outside the limits, whatever the time zone.
bool may_be_within(const PeriodLimits& limits, const RecordingFacts& recording) {
    constexpr std::int64_t kMaxOffset = kDay * 14 / 24;  // of any time zone
    const auto time = recording.path_time;
    if (!time) return true;
    return (!limits.from || *time + kMaxOffset >= *limits.from) &&
           (!limits.to || *time - kMaxOffset < *limits.to);
}

Interval period_of(const std::vector<RecordingFacts>& recordings, const PeriodLimits& limits) {
    const Interval extent = extent_of(recordings).value_or(Interval{});
    Interval period{limits.from.value_or(extent.begin), limits.to.value_or(extent.end)};
    if (!limits.from) period.begin = std::min(period.begin, period.end);
    period.end = std::max(period.begin, period.end);
    return period;
}

}  // namespace

std::int64_t CameraCoverage::largest_gap() const {
    std::int64_t largest = 0;
    for (const Interval& gap : gaps) largest = std::max(largest, gap.length());
    return largest;
}

double CameraCoverage::ratio(const Interval& period) const {
    if (period.length() == 0) return 0;
    return static_cast<double>(total_length(recorded)) / static_cast<double>(period.length());
}

std::int64_t CameraCoverage::current_gap(const Interval& period) const {
    return gaps.empty() || gaps.back().end < period.end ? 0 : gaps.back().length();
}

Intervals CameraCoverage::gaps_of(std::int64_t minimum) const {
    Intervals listed;
    std::ranges::copy_if(gaps, std::back_inserter(listed),
                         [=](const Interval& gap) { return gap.length() >= minimum; });
    return listed;
}

bool Coverage::incomplete(const CameraCoverage& camera, std::int64_t minimum_gap) const {
    const std::int64_t missing = camera.missing();
    return missing > 0 && missing >= std::min(minimum_gap, period.length());
}

std::size_t Coverage::faulty_in_period(const CameraCoverage& camera) const {
    const auto inside = [this](const FrameSpan& span) {
        return span.first < period.end && span.end > period.begin;
    };
    const auto counts = [&](const RecordingFacts* one) {
        return one->faulty &&
               (one->spans.empty() ? may_be_within(limits, *one) : std::ranges::any_of(one->spans, inside));
    };
    return static_cast<std::size_t>(std::ranges::count_if(camera.recordings, counts));
}

std::optional<Interval> extent_of(const std::vector<RecordingFacts>& recordings) {
    std::optional<Interval> extent;
    for (const RecordingFacts& one : recordings) {
        for (const FrameSpan& span : one.spans) {
            if (!extent) extent = interval_of(span);
            extent->begin = std::min(extent->begin, span.first);
            extent->end = std::max(extent->end, span.end);
        }
    }
    return extent;
}

Coverage coverage_of(const std::vector<RecordingFacts>& recordings, const PeriodLimits& limits) {
    std::map<std::string, FactsList> by_id;
    for (const RecordingFacts& one : recordings) by_id[one.clip_id].push_back(&one);
    Coverage coverage;
    coverage.period = period_of(recordings, limits);
    coverage.limits = limits;
    for (const auto& [clip_id, list] : by_id) {
        for (CameraCoverage& camera : cameras_of(clip_id, list)) {
            const std::vector<FrameSpan> spans = sorted_spans(camera.recordings);
            camera.recorded = recorded_in(coverage.period, spans);
            camera.gaps = difference({coverage.period}, camera.recorded);
            camera.overlaps = clipped(overlaps_of(spans), coverage.period);
            coverage.cameras.push_back(std::move(camera));
        }
    }
    std::ranges::sort(coverage.cameras, {}, [](const CameraCoverage& camera) {
        return std::tuple(-camera.missing(), camera.clip_id, camera.names);
    });
    return coverage;
}

std::string verdict_of(const Coverage& coverage, std::int64_t minimum_gap) {
    if (coverage.period.length() == 0) return "no recording in the period";
    std::uint64_t incomplete = 0;
    std::int64_t missing = 0;
    const CameraCoverage* longest = nullptr;
    for (const CameraCoverage& camera : coverage.cameras) {
        if (coverage.incomplete(camera, minimum_gap)) ++incomplete;
        missing += camera.missing();
        if (longest == nullptr || camera.largest_gap() > longest->largest_gap()) longest = &camera;
    }
    const std::string cameras = cli::plural(coverage.cameras.size(), "camera");
    if (missing == 0) return "no gaps on " + cameras;
    if (incomplete == 0) {
        return fmt::format("no camera of {} misses {} or more, {} missing", coverage.cameras.size(),
                           cli::duration_text(minimum_gap), cli::duration_text(missing));
    }
    return fmt::format("{} of {} {} gaps, {} missing, the longest {} on {}", incomplete, cameras,
                       incomplete == 1 ? "has" : "have", cli::duration_text(missing),
                       cli::duration_text(longest->largest_gap()), longest->label());
}

}  // namespace ps_tool
