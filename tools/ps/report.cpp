// norvanepi-ps report: writes an HTML page about many recordings.

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>

#include "tools/cli/exit_status.h"
#include "tools/cli/output_file.h"
#include "tools/cli/plural.h"
#include "tools/cli/unusable_inputs.h"
#include "tools/ps/command.h"
#include "tools/ps/for_each_recording.h"
#include "tools/ps/recording_json.h"
#include "tools/ps/report/host_log.h"
#include "tools/ps/report/page.h"
#include "tools/ps/report/page_data.h"
#include "tools/ps/report/transcript.h"

namespace ps_tool {
namespace {

using cli::Json;

std::ifstream open_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in || std::filesystem::is_directory(path)) throw cli::CannotRun(path + ": cannot be opened");
    return in;
}

void add_recordings(const Options& options, cli::UnusableInputs& unusable, PageData& data) {
    if (options.paths.empty()) return;
    for_each_recording<Json>(
        options, unusable,
        [](reader::Recording& recording) {
            reader::Curve curve;
            const reader::Report report =
                reader::verify(recording, reader::VerifyDepth::kHeaders,
                               [&](const reader::Packet& packet) { curve.add(packet); });
            return json_of(report, curve);
        },
        [&data](const std::string&, const Json& recording) { data.add(recording); });
}

/// Adds and drops each recording while it parses, so the document need not fit into memory.
void add_document(const std::string& path, PageData& data) {
    constexpr int kElement = 2;  // JSON depth of an element of "recordings"
    std::ifstream in = open_file(path);
    bool recordings = false;
    const auto take = [&](int depth, Json::parse_event_t event, Json& parsed) {
        if (event == Json::parse_event_t::key && depth == 1) recordings = parsed == "recordings";
        if (event != Json::parse_event_t::object_end || depth != kElement || !recordings) return true;
        data.add(parsed);
        return false;
    };
    try {
        const Json document = Json::parse(in, take);
        if (document.value("schema", 0) != cli::kJsonSchema || !document.contains("recordings"))
            throw cli::CannotRun(path + ": not the output of norvanepi-ps verify --json");
    } catch (const Json::exception& error) {
        throw cli::CannotRun(
            fmt::format("{}: not the output of norvanepi-ps verify --json: {}", path, error.what()));
    }
}

void add_transcript(const std::string& path, LossTracker& tracker) {
    std::ifstream in = open_file(path);
    try {
        read_transcript(in, tracker);
    } catch (const std::runtime_error& error) {
        throw cli::CannotRun(path + ": " + error.what());
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
        if (std::ifstream in(path, std::ios::binary); in && in.peek() != std::ifstream::traits_type::eof())
            logs.push_back({path, first_log_time(in, options.zone)});
        else
            unusable.add(path, in.is_open() && !in.bad() ? "is empty" : cli::why_unreadable(path));
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
    if (!options.transcript.empty()) add_transcript(options.transcript, tracker);
    for (const Log& log : readable_logs(options, unusable)) add_log(log.path, options, unusable, tracker);
    data.account_for(tracker.lost_times());
}

void write_page(const std::string& page, const Options& options) {
    cli::OutputFile file(options.out, cli::replace_if(options.force));
    file.write(page);
    file.complete();
    if (options.out != "-") fmt::print("{}\n", options.out);
}

}  // namespace

int run_report(const Options& options) {
    if (options.paths.empty() && options.documents.empty())
        throw cli::CannotRun("no input; give a PATH or --from");
    cli::UnusableInputs unusable(kProgram);
    cli::check_output(options.out, cli::replace_if(options.force));
    PageData data;
    add_recordings(options, unusable, data);
    for (const std::string& path : options.documents) add_document(path, data);
    add_lost_time(options, unusable, data);
    write_page(report_page(data.document()), options);
    cli::print_message(
        fmt::format("{}, {} with faults", cli::plural(data.files(), "recording"), data.faulty_files()));
    return unusable.status(data.faulty_files() == 0 ? cli::kSuccess : cli::kFailure);
}

}  // namespace ps_tool
