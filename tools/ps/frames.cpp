// norvanepi-ps frames: the entries of one index, a line each.

#include <fmt/format.h>

#include <limits>
#include <memory>

#include "tools/cli/command_line.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/recording_paths.h"
#include "tools/ps/command.h"
#include "tools/ps/time_option.h"
#include "tools/reader/recording.h"

namespace ps_tool {
namespace {

struct FramesOptions {
    std::string path;
    std::int64_t from = std::numeric_limits<std::int64_t>::min();
    std::int64_t to = std::numeric_limits<std::int64_t>::max();
    bool csv = false;
};

std::string link(std::uint32_t entry) {
    return entry == kNoEntry ? "" : std::to_string(entry);
}

void print_heading(bool csv) {
    if (csv) {
        fmt::print("number,slot,time,key,size,position,previous,next,key_distance\n");
    } else {
        fmt::print("{:>8} {:>4} {:<24} {:<3} {:>8} {:>12} {:>8} {:>8} {:>12}\n", "number", "slot",
                   "time (UTC)", "key", "size", "position", "previous", "next", "key distance");
    }
}

void print_frame(const reader::Entry& entry, bool csv) {
    const std::string previous = link(entry.previous);
    const std::string next = link(entry.next);
    if (csv) {
        fmt::print("{},{},{},{},{},{},{},{},{}\n", entry.number, entry.slot, reader::rfc3339(entry.time),
                   entry.is_key() ? 1 : 0, entry.packet_size, entry.packet_offset, previous, next,
                   entry.key_distance);
    } else {
        fmt::print("{:>8} {:>4} {:<24} {:<3} {:>8} {:>12} {:>8} {:>8} {:>12}\n", entry.number, entry.slot,
                   reader::text_of(entry.time), entry.is_key() ? "key" : "", entry.packet_size,
                   entry.packet_offset, previous, next, entry.key_distance);
    }
}

int run_frames(const FramesOptions& options) {
    const auto paths = cli::recording_paths({options.path});
    if (paths.size() != 1) throw cli::CannotRun(options.path + " is more than one recording");
    reader::Recording recording(paths.front());
    if (!recording.has_index()) throw cli::CannotRun(paths.front() + " has no index; repair makes one");
    print_heading(options.csv);
    for (std::uint32_t number = 0; number < recording.entries(); ++number) {
        const auto entry = recording.entry(number);
        if (!entry) throw cli::CannotRun(fmt::format("entry {} cannot be read", number));
        const std::int64_t instant = reader::instant_of(entry->time);
        if (instant >= options.from && instant < options.to) print_frame(*entry, options.csv);
    }
    return cli::kSuccess;
}

}  // namespace

Command add_frames(CLI::App& program) {
    const auto options = std::make_shared<FramesOptions>();
    CLI::App& command =
        cli::add_command(program, "frames", "Lists the frames of a recording as its index has them",
                         "norvanepi-ps frames --csv recordings/2018/06/22/16/0509-00A10380e.ps");
    command.add_option("FILE", options->path, "a recording")->required()->type_name("FILE");
    add_time(command, "--from", options->from, "frames from this time on, as in 2018-06-22T16:05:09.000Z");
    add_time(command, "--to", options->to, "frames before this time");
    command.add_flag("--csv", options->csv, "comma-separated values");
    return {&command, [options] { return run_frames(*options); }};
}

}  // namespace ps_tool
