// norvanepi-ps metrics: figures about each camera for Prometheus.

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "convert/clip_path.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/output_file.h"
#include "tools/cli/unusable_inputs.h"
#include "tools/ps/command.h"
#include "tools/ps/coverage/metrics_text.h"
#include "tools/ps/coverage/recording_facts.h"
#include "tools/ps/state_contents.h"

namespace ps_tool {
namespace {

/// The window ends now, or at --to. It does not begin before the oldest recording, because what retention has
/// removed is not missing.
PeriodLimits window_of(const std::vector<RecordingFacts>& recordings, const Options& options) {
    const bool given = options.range.to != TimeRange().to;
    const std::int64_t to = given ? options.range.to : now_milliseconds();
    const auto extent = extent_of(recordings);
    const std::int64_t from = extent ? std::max(extent->begin, to - options.window) : to - options.window;
    return {std::min(from, to), to};
}

std::string clip_id_text(const norvane::DeviceKey& device) {
    StreamRecord clip;
    clip.identifier = static_cast<std::uint32_t>(device.devices_id);
    clip.deviceNumber = static_cast<std::uint32_t>(device.number);
    return fmt::format("{:08X}", norvane::clip_id(clip));
}

std::map<std::string, PendingWork> pending_work(const norvane::EngineState& state) {
    std::map<std::string, PendingWork> pending;
    for (const auto& [time, channel] : state.gaps)
        ++pending[clip_id_text({channel.devices_id, channel.device_number})].open_gaps;
    for (const norvane::OperationState& operation : state.operations) {
        PendingWork& work = pending[clip_id_text(operation.device)];
        ++(operation.failure.since == 0 ? work.operations : work.failed_operations);
    }
    return pending;
}

/// Replaces only metrics: a wrong path must not cost a recording.
void write_metrics(const std::string& text, const std::string& out) {
    cli::check_output(out, cli::Replace::kFiles);
    std::error_code unknown;
    if (std::filesystem::is_regular_file(out, unknown)) {  // a pipe or a device is not replaced
        const auto old = platform::system_files().read_whole(out);
        if (!old || !(old->empty() || old->starts_with(kMetricsStart)))
            throw cli::CannotRun(out + ": exists and does not contain metrics; not replaced");
    }
    cli::OutputFile file(out, cli::Replace::kFiles);
    file.write(text);
    file.complete();
}

}  // namespace

int run_metrics(const Options& options) {
    const platform::Clock& clock = platform::system_clock();
    const platform::Ticks begin = clock.steady();
    cli::UnusableInputs unusable(kProgram);
    MetricsInput input;
    input.minimum_gap = options.minimum_gap;
    if (!options.state.empty()) {
        const auto contents = read_state(options.state);
        if (contents) {
            input.pending = pending_work(contents->state);
            input.state_fault = !contents->fault.empty();
        } else {
            unusable.add(options.state, cli::why_unreadable(options.state));
        }
    }
    const auto facts = read_facts({options.paths, options.jobs, options.cache}, unusable);
    input.unreadable = unusable.count();
    input.coverage = coverage_of(facts, window_of(facts, options));
    input.duration =
        static_cast<double>(clock.steady() - begin) / static_cast<double>(platform::kTicksPerSecond);
    input.checked = now_milliseconds();
    const std::string text = metrics_text(input);
    if (options.out.empty() || options.out == "-") {
        fmt::print("{}", text);
    } else {
        write_metrics(text, options.out);
    }
    return unusable.status(cli::kSuccess);
}

}  // namespace ps_tool
