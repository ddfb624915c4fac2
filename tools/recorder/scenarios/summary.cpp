#include "tools/recorder/scenarios/summary.h"

#include <algorithm>

#include <fmt/format.h>

#include "platform/calendar.h"
#include "ps/encodings.h"
#include "tools/cli/json_list.h"
#include "tools/cli/plural.h"
#include "tools/cli/table.h"

namespace recorder {
namespace {

using cli::Json;
using reader::Report;

constexpr std::size_t kMaxRows = 24;
constexpr std::int64_t kMaxDelay = 1000;  // ms, of the first picture of a clip with B-frames

reader::PacketTime packet_time_of(Seconds time) {
    const auto utc = platform::utc_time(time);
    if (!utc) return {};
    return {date16(static_cast<std::uint32_t>(utc->year), utc->month, utc->day),
            ((utc->hour * 60 + utc->minute) * 60 + utc->second) * 1000};
}

void add_row(cli::Table& table, const Report& report, const std::filesystem::path& directory) {
    const bool empty = report.frames == 0;
    table.add_row({std::filesystem::path(report.path).lexically_relative(directory).string(),
                   empty ? "-" : reader::text_of(report.first), empty ? "-" : reader::text_of(report.last),
                   fmt::format("{}", report.frames), fmt::format("{}", report.key_frames),
                   fmt::format("{}", report.spans()), fmt::format("{}", report.data_size),
                   report.verified() ? "verified" : cli::plural(report.faults.count(), "fault")});
}

Json time_of(const Report& report, const reader::PacketTime& time) {
    return report.frames > 0 && time.plausible() ? Json(reader::rfc3339(time)) : Json();
}

Json json_of(const Report& report) {
    Json faults = Json::array();
    for (const auto& fault : report.faults.kept()) {
        faults.push_back({{"file", fault.file}, {"offset", fault.offset}, {"text", fault.text}});
    }
    return {{"path", report.path},
            {"first", time_of(report, report.first)},
            {"last", time_of(report, report.last)},
            {"frames", report.frames},
            {"key_frames", report.key_frames},
            {"spans", report.spans()},
            {"bytes", report.data_size},
            {"index_bytes", report.index_size},
            {"verified", report.verified()},
            {"faults", faults}};
}

}  // namespace

Report read_back(const ExpectedRecording& expected) {
    Report report;
    report.path = expected.path;
    const auto add_fault = [&](const std::string& text) { report.faults.add({expected.path, 0, text}); };
    try {
        reader::Recording recording(expected.path);
        report = reader::verify(recording);
    } catch (const reader::CannotOpen& error) {
        add_fault(error.what());
        return report;
    }
    if (report.frames != expected.frames)
        add_fault(fmt::format("{} frames; the clip has {} samples", report.frames, expected.frames));
    const reader::PacketTime start = packet_time_of(expected.start);
    const auto late = reader::instant_of(report.first) - reader::instant_of(start);
    if (report.frames > 0 && late != 0 && (expected.exact_start || late < 0 || late >= kMaxDelay))
        add_fault(fmt::format("starts at {}; its clip starts at {}", reader::text_of(report.first),
                              reader::text_of(start)));
    return report;
}

std::string summary_table(const std::vector<Report>& reports, const std::filesystem::path& directory) {
    using Align = cli::Table::Align;
    cli::Table table({{"recording"},
                      {"first (UTC)"},
                      {"last (UTC)"},
                      {"frames", Align::kRight},
                      {"key frames", Align::kRight},
                      {"spans", Align::kRight},
                      {"bytes", Align::kRight},
                      {"check"}});
    const std::size_t left_out = reports.size() > kMaxRows ? reports.size() - kMaxRows : 0;
    for (std::size_t i = 0; i < reports.size(); ++i) {
        const bool in_the_middle = i >= kMaxRows / 2 && i < kMaxRows / 2 + left_out;
        if (!in_the_middle) add_row(table, reports[i], directory);
        if (in_the_middle && i == kMaxRows / 2) table.add_row({fmt::format("({} more)", left_out)});
    }
    return table.text();
}

void print_json(const std::vector<Report>& reports) {
    cli::JsonList recordings(stdout, "recordings");
    for (const Report& report : reports) recordings.add(json_of(report));
    recordings.finish({{"recording_count", reports.size()},
                       {"faulty_count", std::ranges::count_if(reports, [](const Report& report) {
                            return !report.verified();
                        })}});
}

std::string figures(const HostSimulator& simulator, std::uint32_t restarts,
                    const std::vector<Report>& reports) {
    const SavedModel& model = simulator.model().saved();
    std::uint64_t bytes = 0;
    for (const Report& report : reports) bytes += report.data_size + report.index_size;
    const MessageCounts& counts = simulator.counts();
    return fmt::format(
        "operations: {} created, {} done, {} dropped; messages: {} sent to the module, {} of them returned, "
        "{} received; restarts: {}; recordings: {}, {} bytes",
        model.operations_made, model.operations_done, model.operations_dropped, counts.sent, counts.returned,
        counts.received, restarts, reports.size(), bytes);
}

}  // namespace recorder
