// norvanepi-ps gaps: lists what the module has still to fetch, from its state file or its journal.

#include <fmt/format.h>
#include <boost/uuid/uuid_io.hpp>

#include <optional>

#include "platform/clock.h"
#include "store/state_names.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/json_list.h"
#include "tools/cli/plural.h"
#include "tools/cli/printable.h"
#include "tools/cli/table.h"
#include "tools/cli/unusable_inputs.h"
#include "tools/ps/command.h"
#include "tools/ps/state_contents.h"
#include "tools/reader/packet_time.h"

namespace ps_tool {
namespace {

using cli::Json;
using norvane::OperationState;
using platform::Ticks;

std::string time_text(Ticks instant) {
    const auto time = reader::packet_time_of(instant / (platform::kTicksPerSecond / 1000));
    return time ? reader::text_of(*time).substr(0, 19)
                : fmt::format("{} s", instant / platform::kTicksPerSecond);
}

Json json_time(Ticks instant) {
    const auto time = reader::packet_time_of(instant / (platform::kTicksPerSecond / 1000));
    return time ? Json(reader::rfc3339(*time)) : Json();
}

std::string age_text(Ticks since) {
    const std::int64_t minutes =
        std::max<Ticks>(0, platform::system_clock().now() - since) / platform::kTicksPerSecond / 60;
    return fmt::format("{} d {:02}:{:02}", minutes / 1440, minutes / 60 % 24, minutes % 60);
}

std::string_view reason_of(const OperationState& operation) {
    return norvane::state::kReasons.at(static_cast<std::size_t>(operation.failure.reason));
}

std::string_view stage_of(const OperationState& operation) {
    if (operation.failure.since != 0) return "failed";
    return norvane::state::kStages.at(static_cast<std::size_t>(operation.stage));
}

std::string failure_text(const OperationState& operation) {
    if (operation.failure.since == 0) return "";
    const bool reported = operation.failure.reason == norvane::FailureReason::kReported;
    return fmt::format("{}{} since {}", reason_of(operation),
                       reported ? fmt::format(" {}", operation.failure.error_code) : "",
                       time_text(operation.failure.since));
}

void print_contents(const std::string& path, const StateContents& contents) {
    const auto& [state, alive, journal, fault] = contents;
    fmt::print("{}: {}{}, {}, {}\n", cli::printable(path), journal ? "journal" : "state file",
               alive ? fmt::format(" until {}", time_text(*alive)) : "",
               cli::plural(state.gaps.size(), "open gap"), cli::plural(state.operations.size(), "operation"));
    if (!fault.empty()) fmt::print("  {}\n", fault);
    if (!state.gaps.empty()) {
        cli::Table table({{"devices"}, {"device"}, {"channel"}, {"open since (UTC)"}, {"age"}});
        for (const auto& [time, key] : state.gaps) {
            table.add_row({std::to_string(key.devices_id), std::to_string(key.device_number),
                           std::to_string(key.channel), time_text(time), age_text(time)});
        }
        fmt::print("{}", table.text());
    }
    if (state.operations.empty()) return;
    cli::Table table(
        {{"devices"}, {"device"}, {"from (UTC)"}, {"to"}, {"age"}, {"stage"}, {"attempts"}, {"failure"}});
    for (const OperationState& operation : state.operations) {
        table.add_row({std::to_string(operation.device.devices_id), std::to_string(operation.device.number),
                       time_text(operation.start_time), time_text(operation.end_time),
                       age_text(operation.end_time), std::string(stage_of(operation)),
                       std::to_string(operation.attempts), failure_text(operation)});
    }
    fmt::print("{}", table.text());
}

Json gaps_json(const std::string& path, const StateContents& contents) {
    Json gaps = Json::array();
    for (const auto& [time, key] : contents.state.gaps) {
        gaps.push_back({{"devices_id", key.devices_id},
                        {"device", key.device_number},
                        {"channel", key.channel},
                        {"since", json_time(time)}});
    }
    Json operations = Json::array();
    for (const OperationState& operation : contents.state.operations) {
        const norvane::Failure& failure = operation.failure;
        Json failed;
        if (failure.since != 0) {
            failed = {{"since", json_time(failure.since)},
                      {"reason", reason_of(operation)},
                      {"error_code", failure.error_code}};
        }
        operations.push_back({{"devices_id", operation.device.devices_id},
                              {"device", operation.device.number},
                              {"guid", boost::uuids::to_string(operation.guid)},
                              {"from", json_time(operation.start_time)},
                              {"to", json_time(operation.end_time)},
                              {"stage", stage_of(operation)},
                              {"attempts", operation.attempts},
                              {"failed", failed}});
    }
    return {{"path", path},
            {"kind", contents.journal ? "journal" : "state file"},
            {"alive", contents.alive ? json_time(*contents.alive) : Json()},
            {"fault", contents.fault.empty() ? Json() : Json(contents.fault)},
            {"gaps", gaps},
            {"operations", operations}};
}

}  // namespace

int run_gaps(const Options& options) {
    const auto json = json_list(options, "state_files");
    cli::UnusableInputs unusable(kProgram);
    bool ok = true;
    for (const std::string& path : options.paths) {
        const auto contents = read_state(path);
        if (!contents) {
            unusable.add(path, cli::why_unreadable(path));
            continue;
        }
        json != nullptr ? json->add(gaps_json(path, *contents)) : print_contents(path, *contents);
        ok = ok && contents->fault.empty();
    }
    if (json != nullptr) json->finish({{"unusable", unusable.json()}});
    return unusable.status(ok ? cli::kSuccess : cli::kFailure);
}

}  // namespace ps_tool
