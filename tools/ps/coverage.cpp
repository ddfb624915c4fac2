// norvanepi-ps coverage: the recorded and the missing time of each camera.

#include "tools/ps/coverage/coverage.h"

#include <fmt/format.h>

#include <cmath>

#include "tools/cli/duration.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/json_list.h"
#include "tools/cli/printable.h"
#include "tools/cli/table.h"
#include "tools/cli/unusable_inputs.h"
#include "tools/ps/command.h"
#include "tools/ps/coverage/recording_facts.h"
#include "tools/ps/time_range.h"
#include "tools/reader/packet_time.h"

namespace ps_tool {
namespace {

using cli::Json;

constexpr double kMsInSecond = 1000;

/// The last frame of 2127 may end in 2128.
reader::PacketTime period_time(std::int64_t instant) {
    const auto time = reader::packet_time_of(instant);
    return time ? *time : *reader::packet_time_of(instant - kDay);
}

std::string utc_text(std::int64_t instant) {
    return reader::text_of(period_time(instant));
}

std::string utc_json(std::int64_t instant) {
    return reader::rfc3339(period_time(instant));
}

double seconds_json(std::int64_t milliseconds) {
    return static_cast<double>(milliseconds) / kMsInSecond;
}

Json intervals_json(const Intervals& intervals) {
    Json list = Json::array();
    for (const Interval& one : intervals) {
        list.push_back({{"start", utc_json(one.begin)},
                        {"end", utc_json(one.end)},
                        {"seconds", seconds_json(one.length())}});
    }
    return list;
}

Json camera_json(const Coverage& coverage, const CameraCoverage& camera, std::int64_t minimum_gap) {
    const Interval& period = coverage.period;
    const Intervals gaps = camera.gaps_of(minimum_gap);
    return {{"id", camera.clip_id.empty() ? Json() : Json(camera.clip_id)},
            {"names", camera.names},
            {"recorded_seconds", seconds_json(total_length(camera.recorded))},
            {"missing_seconds", seconds_json(camera.missing())},
            {"coverage_ratio", camera.ratio(period)},
            {"gap_count", gaps.size()},
            {"largest_gap_seconds", seconds_json(camera.largest_gap())},
            {"current_gap_seconds", seconds_json(camera.current_gap(period))},
            {"gaps", intervals_json(gaps)},
            {"overlaps", intervals_json(camera.overlaps)},
            {"faulty_files", coverage.faulty_in_period(camera)}};
}

void print_json(cli::JsonList& list, const Coverage& coverage, const PeriodLimits& limits,
                std::int64_t minimum_gap, const cli::UnusableInputs& unusable) {
    const Interval& period = coverage.period;
    const bool empty = period.length() == 0;
    for (const CameraCoverage& camera : coverage.cameras)
        list.add(camera_json(coverage, camera, minimum_gap));
    list.finish({{"from", empty && !limits.from ? Json() : Json(utc_json(period.begin))},
                 {"to", empty && !limits.to ? Json() : Json(utc_json(period.end))},
                 {"verdict", verdict_of(coverage, minimum_gap)},
                 {"unusable", unusable.json()}});
}

/// Rounded down, so that only complete coverage is 100.
std::string percent_text(double ratio) {
    constexpr double kHundredths = 100;
    return fmt::format("{:.2f} %", std::floor(ratio * kHundredths * kHundredths) / kHundredths);
}

std::string names_text(const CameraCoverage& camera) {
    return cli::printable(fmt::format("{}", fmt::join(camera.names, ", ")));
}

std::string length_text(std::int64_t milliseconds) {
    return milliseconds == 0 ? "-" : cli::duration_text(milliseconds);
}

void print_intervals(const CameraCoverage& camera, const char* noun, const Intervals& intervals) {
    for (const Interval& one : intervals) {
        fmt::print("{}: {} from {} to {}, {}\n", cli::printable(camera.label()), noun, utc_text(one.begin),
                   utc_text(one.end), cli::duration_text(one.length()));
    }
}

void print_table(const Coverage& coverage, std::int64_t minimum_gap) {
    using Align = cli::Table::Align;
    cli::Table table({{"camera"},
                      {"coverage", Align::kRight},
                      {"recorded", Align::kRight},
                      {"missing", Align::kRight},
                      {"gaps", Align::kRight},
                      {"longest", Align::kRight},
                      {"current", Align::kRight},
                      {"overlaps", Align::kRight},
                      {"faulty files", Align::kRight},
                      {"names"}});
    for (const CameraCoverage& camera : coverage.cameras) {
        table.add_row(
            {camera.clip_id.empty() ? "-" : camera.clip_id, percent_text(camera.ratio(coverage.period)),
             length_text(total_length(camera.recorded)), length_text(camera.missing()),
             std::to_string(camera.gaps_of(minimum_gap).size()), length_text(camera.largest_gap()),
             length_text(camera.current_gap(coverage.period)), std::to_string(camera.overlaps.size()),
             std::to_string(coverage.faulty_in_period(camera)), names_text(camera)});
    }
    fmt::print("{}", table.text());
}

void print_text(const Coverage& coverage, const PeriodLimits& limits, std::int64_t minimum_gap) {
    if (coverage.period.length() > 0) {
        fmt::print("{} to {} UTC{}\n", utc_text(coverage.period.begin), utc_text(coverage.period.end),
                   limits.from ? "" : "; earlier recordings are not kept");
    }
    print_table(coverage, minimum_gap);
    for (const CameraCoverage& camera : coverage.cameras) {
        print_intervals(camera, "gap", camera.gaps_of(minimum_gap));
        print_intervals(camera, "overlap", camera.overlaps);
    }
    fmt::print("{}\n", cli::printable(verdict_of(coverage, minimum_gap)));
}

bool any_incomplete(const Coverage& coverage, std::int64_t minimum_gap) {
    for (const CameraCoverage& camera : coverage.cameras) {
        if (coverage.incomplete(camera, minimum_gap)) return true;
    }
    return coverage.period.length() == 0;
}

}  // namespace

int run_coverage(const Options& options) {
    const PeriodLimits limits = limits_of(options.range);
    const auto json = json_list(options, "cameras");
    cli::UnusableInputs unusable(kProgram);
    const auto facts = read_facts({options.paths, options.jobs, options.cache}, unusable);
    const Coverage coverage = coverage_of(facts, limits);
    if (json != nullptr) {
        print_json(*json, coverage, limits, options.minimum_gap, unusable);
    } else {
        print_text(coverage, limits, options.minimum_gap);
    }
    return unusable.status(any_incomplete(coverage, options.minimum_gap) ? cli::kFailure : cli::kSuccess);
}

}  // namespace ps_tool
