// norvanepi-ps report: writes an HTML page about many recordings.

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <memory>
#include <optional>

#include "platform/clock.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/output_file.h"
#include "tools/cli/plural.h"
#include "tools/cli/unusable_inputs.h"
#include "tools/ps/command.h"
#include "tools/ps/report/host_log.h"
#include "tools/ps/report/page.h"
#include "tools/ps/report/page_data.h"
#include "tools/ps/report/page_inputs.h"
#include "tools/ps/report/transcript.h"
#include "tools/ps/time_range.h"

namespace ps_tool {
namespace {

using cli::Json;

/// False for a directory, too. At its end if the file is empty.
bool is_readable(std::ifstream& in) {
    if (in) in.peek();
    return !in.bad() && in.is_open();
}

/// Without frames in the period, only the camera of a recording is shown.
PageRecording in_period(PageRecording recording, const TimeRange& period) {
    const std::vector<FrameSpan>& spans = recording.facts.spans;
    recording.shown = spans.empty() || (spans.front().first < period.to && spans.back().end > period.from);
    return recording;
}

/// Adds and drops each recording while it parses, so the document need not fit into memory. Recordings before
/// an error stay.
void add_document(const std::string& path, const TimeRange& period, cli::UnusableInputs& unusable,
                  PageData& data) {
    constexpr int kElement = 2;  // JSON depth of an element of "recordings"
    constexpr const char* kReason = "not the output of norvanepi-ps verify --json";
    std::ifstream in(path, std::ios::binary);
    if (!is_readable(in)) return unusable.add(path, cli::why_unreadable(path));
    bool recordings = false;
    const auto take = [&](int depth, Json::parse_event_t event, Json& parsed) {
        if (event == Json::parse_event_t::key && depth == 1) recordings = parsed == "recordings";
        if (event != Json::parse_event_t::object_end || depth != kElement || !recordings) return true;
        data.add(std::make_shared<const PageRecording>(in_period(page_recording(parsed), period)));
        return false;
    };
    try {
        const Json document = Json::parse(in, take);
        if (document.value("schema", 0) != cli::kJsonSchema || !document.contains("recordings"))
            unusable.add(path, kReason);
    } catch (const std::exception& error) {  // of the JSON library, or a value that is not a time
        unusable.add(path, fmt::format("{}: {}", kReason, error.what()));
    }
}

void add_transcript(const std::string& path, cli::UnusableInputs& unusable, LossTracker& tracker) {
    std::ifstream in(path, std::ios::binary);
    if (!is_readable(in)) return unusable.add(path, cli::why_unreadable(path));
    try {
        read_transcript(in, tracker);
    } catch (const std::runtime_error& error) {
        unusable.add(path, error.what());
    }
}

/// A readable log, and the time with which it begins.
struct Log {
    std::string path;
    std::optional<std::int64_t> begin;
};

/// In the order of their times, or as given if one has none.
std::vector<Log> readable_logs(const Options& options, cli::UnusableInputs& unusable) {
    std::vector<Log> logs;
    for (const std::string& path : options.logs) {
        std::ifstream in(path, std::ios::binary);
        if (!is_readable(in))
            unusable.add(path, cli::why_unreadable(path));
        else if (in.eof())
            unusable.add(path, "is empty");
        else
            logs.push_back({path, first_log_time(in, options.zone)});
    }
    if (std::ranges::all_of(logs, [](const Log& log) { return log.begin.has_value(); }))
        std::ranges::stable_sort(logs, {}, &Log::begin);
    return logs;
}

void add_log(const std::string& path, const Options& options, cli::UnusableInputs& unusable,
             LossTracker& tracker) {
    std::ifstream in(path, std::ios::binary);
    const LineCounts lines = read_host_log(in, options.zone, tracker);
    if (lines.used == 0)
        unusable.add(path, fmt::format("{}, none with a document or a log text of the module",
                                       cli::plural(lines.skipped, "line")));
    else
        cli::print_message(
            fmt::format("{}: {} used, {} skipped", path, cli::plural(lines.used, "line"), lines.skipped));
}

void add_lost_time(const Options& options, cli::UnusableInputs& unusable, PageData& data) {
    LossTracker tracker;
    if (!options.transcript.empty()) add_transcript(options.transcript, unusable, tracker);
    for (const Log& log : readable_logs(options, unusable)) add_log(log.path, options, unusable, tracker);
    data.account_for(tracker.lost_times());
}

/// Writes the page. Returns the number of faulty files.
std::size_t write_page(const Options& options, const PageInputs& inputs, cli::UnusableInputs& unusable,
                       cli::Replace replace) {
    PageData data({.now = now_milliseconds(),
                   .minimum_gap = options.minimum_gap,
                   .period = options.period,
                   .limits = limits_of(options.range),
                   .zone = options.zone_given ? std::optional(options.zone) : std::nullopt,
                   .watched = options.watch,
                   .stills = options.stills
                                 ? std::optional(StillLimits{options.stills_every, options.stills_budget})
                                 : std::nullopt,
                   .jobs = options.jobs});
    inputs.add_to(data);
    for (const std::string& path : options.documents) add_document(path, options.range, unusable, data);
    if (!options.transcript.empty() || !options.logs.empty()) add_lost_time(options, unusable, data);
    cli::OutputFile file(options.out, replace);
    file.write(report_page(data.document()));
    file.complete();
    if (options.out != "-") fmt::print("{}\n", options.out);
    cli::print_message(
        fmt::format("{}, {} with faults", cli::plural(data.files(), "recording"), data.faulty_files()));
    return data.faulty_files();
}

/// False after a failure, for example of a full disk, which is reported.
bool rewrite_page(const Options& options, const PageInputs& inputs, cli::UnusableInputs& unusable) {
    try {
        write_page(options, inputs, unusable, cli::Replace::kFiles);
        return true;
    } catch (const cli::CannotRun& error) {
        cli::print_error(kProgram, error.what());
        return false;
    }
}

/// Rewrites the page when a recording has changed or the last attempt failed, until the program is stopped.
[[noreturn]] void watch(const Options& options, PageInputs& inputs, cli::UnusableInputs& unusable) {
    constexpr std::chrono::seconds kRound(30);
    bool written = true;
    for (;;) {
        cli::flush_output();
        platform::system_sleeper().sleep(kRound);
        if (inputs.update(unusable) || !written) written = rewrite_page(options, inputs, unusable);
    }
}

}  // namespace

int run_report(const Options& options) {
    if (options.paths.empty() && options.documents.empty())
        throw cli::CannotRun("no input; give a PATH or --documents");
    if (options.watch && (options.paths.empty() || options.out == "-"))
        throw cli::CannotRun("--watch needs a PATH and an output file");
    (void)limits_of(options.range);  // wrong usage is found before much time is spent
    cli::UnusableInputs unusable(kProgram);
    const cli::Replace replace = cli::replace_if(options.force);
    cli::check_output(options.out, replace);
    PageInputs inputs(options);
    if (!options.paths.empty()) inputs.update(unusable);
    const std::size_t faulty = write_page(options, inputs, unusable, replace);
    if (options.watch) watch(options, inputs, unusable);
    return unusable.status(faulty == 0 ? cli::kSuccess : cli::kFailure);
}

}  // namespace ps_tool
