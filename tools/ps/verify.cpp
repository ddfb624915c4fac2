// norvanepi-ps verify: checks that recordings follow the format.

#include "tools/reader/verify.h"

#include <fmt/format.h>

#include <memory>
#include <optional>

#include "tools/cli/exit_status.h"
#include "tools/cli/plural.h"
#include "tools/cli/printable.h"
#include "tools/cli/terminal_colours.h"
#include "tools/ps/command.h"
#include "tools/ps/for_each_recording.h"
#include "tools/ps/recording_json.h"

namespace ps_tool {
namespace {

struct Result {
    reader::Report report;
    reader::Curve curve;
};

std::string verdict(const reader::Report& report) {
    if (report.verified()) {
        return fmt::format("verified, {} in {}", cli::plural(report.frames, "frame"),
                           cli::plural(report.spans(), "span"));
    }
    return fmt::format("{}, {}", cli::plural(report.faults.count(), "fault"),
                       report.repairable() ? "repairable" : "not repairable");
}

void print_text(const reader::Report& report, const cli::TerminalColours& colours) {
    fmt::print("{}: {}\n", cli::printable(report.path),
               colours(report.verified() ? cli::Colour::kGreen : cli::Colour::kRed, verdict(report)));
    for (const reader::Fault& fault : report.faults.kept()) {
        fmt::print("  {}{}\n", cli::printable(reader::text_of(fault)),
                   report.repairs(fault) ? "" : " (not repairable)");
    }
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
    for_each_recording<Result>(
        options, unusable,
        [depth, curves = json != nullptr](reader::Recording& recording) {
            Result result;
            result.report = reader::verify(recording, depth, [&](const reader::Packet& packet) {
                if (curves) result.curve.add(packet);
            });
            return result;
        },
        [&](const std::string&, const Result& result) {
            ++recordings;
            if (!result.report.verified()) ++faulty;
            if (options.quiet && result.report.verified()) return;
            json != nullptr ? json->add(json_of(result.report, result.curve))
                            : print_text(result.report, colours);
        });
    if (json != nullptr)
        json->finish(
            {{"recording_count", recordings}, {"faulty_count", faulty}, {"unusable", unusable.json()}});
    if (recordings > 1)
        fmt::print(stderr, "{}, {} with faults\n", cli::plural(recordings, "recording"), faulty);
    return unusable.status(faulty == 0 ? cli::kSuccess : cli::kFailure);
}

}  // namespace ps_tool
