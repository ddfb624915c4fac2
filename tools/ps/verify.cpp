// norvanepi-ps verify: checks that recordings follow the format.

#include "tools/reader/verify.h"

#include <fmt/format.h>

#include <memory>
#include <optional>

#include "tools/cli/exit_status.h"
#include "tools/cli/plural.h"
#include "tools/cli/printable.h"
#include "tools/cli/terminal_colours.h"
#include "tools/ps/camera_totals.h"
#include "tools/ps/command.h"
#include "tools/ps/coverage/recording_facts.h"
#include "tools/ps/for_each_recording.h"
#include "tools/ps/recording_json.h"
#include "tools/reader/recording_info.h"

namespace ps_tool {
namespace {

struct Result {
    reader::Report report;
    reader::Curve curve;
    RecordingFacts facts;

    [[nodiscard]] bool contradicts_path() const { return reader::contradicts_path(report); }
    [[nodiscard]] bool ok() const { return report.verified() && !contradicts_path(); }
};

std::string verdict(const reader::Report& report) {
    if (report.verified()) {
        return fmt::format("verified, {} in {}", cli::plural(report.frames, "frame"),
                           cli::plural(report.spans(), "span"));
    }
    return fmt::format("{}, {}", cli::plural(report.faults.count(), "fault"),
                       report.repairable() ? "repairable" : "not repairable");
}

void print_text(const Result& result, const cli::TerminalColours& colours) {
    const reader::Report& report = result.report;
    fmt::print("{}: {}\n", cli::printable(report.path),
               colours(report.verified() ? cli::Colour::kGreen : cli::Colour::kRed, verdict(report)));
    for (const reader::Fault& fault : report.faults.kept()) {
        fmt::print("  {}{}\n", cli::printable(reader::text_of(fault)),
                   report.repairs(fault) ? "" : " (not repairable)");
    }
    if (result.contradicts_path())
        fmt::print("  the first frame, {} UTC, is not at the path's time in any time zone\n",
                   reader::text_of(report.first));
    const std::uint64_t omitted = report.faults.count() - report.faults.kept().size();
    if (omitted > 0) fmt::print("  and {} more faults\n", omitted);
}

}  // namespace

int run_verify(const Options& options) {
    const reader::VerifyDepth depth =
        options.deep ? reader::VerifyDepth::kPayloads : reader::VerifyDepth::kHeaders;
    const cli::TerminalColours colours(stdout);
    const auto json = json_list(options, "recordings");
    cli::UnusableInputs unusable(kProgram);
    std::uint64_t recordings = 0;
    std::uint64_t faulty = 0;
    bool ok = true;
    CameraTotals totals;
    for_each_recording<Result>(
        options, unusable,
        [depth, curves = json != nullptr](reader::Recording& recording) {
            Result result;
            FactsBuilder facts;
            result.report = reader::verify(recording, depth, [&](const reader::Packet& packet) {
                if (curves) result.curve.add(packet);
                facts.add(packet);
            });
            result.facts = facts.facts(result.report);
            return result;
        },
        [&](const std::string& path, const Result& result) {
            ++recordings;
            ok &= result.ok();
            totals.add(path, result.facts);
            if (!result.report.verified()) ++faulty;
            if (options.quiet && result.ok()) return;
            if (json == nullptr) return print_text(result, colours);
            cli::Json object = json_of(result.report, result.curve, result.facts.spans);
            object["path_contradicts"] = result.contradicts_path();
            json->add(object);
        });
    if (json != nullptr)
        json->finish({{"recording_count", recordings},
                      {"faulty_count", faulty},
                      {"cameras", totals.json()},
                      {"unusable", unusable.json()}});
    else if (recordings > 1 && !options.quiet)
        totals.print();
    if (recordings > 1)
        cli::print_message(fmt::format("{}, {} with faults", cli::plural(recordings, "recording"), faulty));
    return unusable.status(ok ? cli::kSuccess : cli::kFailure);
}

}  // namespace ps_tool
