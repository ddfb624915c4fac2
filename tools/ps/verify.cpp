// norvanepi-ps verify: everything that the format promises.

#include "tools/reader/verify.h"

#include <fmt/format.h>

#include <memory>
#include <optional>

#include "tools/cli/command_line.h"
#include "tools/cli/counted.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/paint.h"
#include "tools/ps/command.h"
#include "tools/ps/each_recording.h"
#include "tools/ps/recording_json.h"

namespace ps_tool {
namespace {

struct VerifyOptions : CommonOptions {
    bool deep = false;
};

struct Checked {
    reader::Report report;
    reader::Curve curve;
};

std::string verdict(const reader::Report& report) {
    if (report.verified()) {
        return fmt::format("verified, {} in {}", cli::counted(report.frames, "frame"),
                           cli::counted(report.spans(), "span"));
    }
    return fmt::format("{}, {}", cli::counted(report.faults.count(), "fault"),
                       report.repairable() ? "repair fixes it" : "repair does not fix it");
}

void print_text(const reader::Report& report, const cli::Paint& paint) {
    fmt::print("{}: {}\n", report.path,
               paint(report.verified() ? cli::Colour::kGreen : cli::Colour::kRed, verdict(report)));
    for (const reader::Fault& fault : report.faults.kept()) {
        fmt::print("  {}{}\n", reader::text_of(fault),
                   report.repairs(fault) ? "" : " (repair does not fix this)");
    }
    const std::uint64_t left_out = report.faults.count() - report.faults.kept().size();
    if (left_out > 0) fmt::print("  and {} more\n", left_out);
}

int run_verify(const VerifyOptions& options) {
    const reader::VerifyDepth depth =
        options.deep ? reader::VerifyDepth::kPayloads : reader::VerifyDepth::kHeaders;
    const cli::Paint paint(stdout);
    std::optional<cli::JsonList> json;
    if (options.json) json.emplace(stdout, "recordings");
    std::uint64_t recordings = 0;
    std::uint64_t faulty = 0;
    each_recording<Checked>(
        options,
        [depth, curves = options.json](reader::Recording& recording) {
            Checked checked;
            checked.report = reader::verify(recording, depth, [&](const reader::Packet& packet) {
                if (curves) checked.curve.add(packet);
            });
            return checked;
        },
        [&](const std::string&, const Checked& checked) {
            ++recordings;
            if (!checked.report.verified()) ++faulty;
            json ? json->add(json_of(checked.report, checked.curve)) : print_text(checked.report, paint);
        });
    if (json) json->finish({{"recording_count", recordings}, {"faulty_count", faulty}});
    if (recordings > 1)
        fmt::print(stderr, "{}, {} with faults\n", cli::counted(recordings, "recording"), faulty);
    return faulty == 0 ? cli::kSuccess : cli::kFailure;
}

}  // namespace

Command add_verify(CLI::App& program) {
    const auto options = std::make_shared<VerifyOptions>();
    CLI::App& command = cli::add_command(program, "verify", "Checks everything that the format promises",
                                         "norvanepi-ps verify recordings/");
    add_paths(command, *options);
    add_jobs(command, *options);
    add_json(command, *options);
    command.add_flag("--deep", options->deep, "look into the frames too: start codes and types of NAL units");
    return {&command, [options] { return run_verify(*options); }};
}

}  // namespace ps_tool
