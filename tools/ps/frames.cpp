// norvanepi-ps frames: prints the entries of an index, one per line.

#include <fmt/format.h>

#include <memory>

#include "tools/cli/exit_status.h"
#include "tools/cli/recording_paths.h"
#include "tools/ps/command.h"
#include "tools/ps/options.h"
#include "tools/reader/recording.h"

namespace ps_tool {
namespace {

struct FramesOptions {
    std::string path;
    TimeRange range;
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
    if (paths.size() != 1) throw cli::CannotRun(options.path + ": contains more than one recording");
    reader::Recording recording(paths.front());
    if (!recording.has_index())
        throw cli::CannotRun(paths.front() + ": no index; run norvanepi-ps repair to create it");
    print_heading(options.csv);
    for (std::uint32_t number = 0; number < recording.entries(); ++number) {
        const auto entry = recording.entry(number);
        if (!entry)
            throw cli::CannotRun(fmt::format("{}: cannot read entry {} of the index", paths.front(), number));
        const std::int64_t instant = reader::instant_of(entry->time);
        if (instant >= options.range.from && instant < options.range.to) print_frame(*entry, options.csv);
    }
    return cli::kSuccess;
}

}  // namespace

void add_frames(cli::Program& program) {
    const auto options = std::make_shared<FramesOptions>();
    cli::Command command = program.add("frames", "Lists the frames of a recording from its index",
                                       "norvanepi-ps frames --csv recordings/2018/06/22/16/0509-00A10380e.ps",
                                       [options] { return run_frames(*options); });
    command.text("FILE", "FILE", options->path, "a recording", cli::Presence::kRequired);
    add_time(command, "--from", options->range.from,
             "first time to list, for example 2018-06-22T16:05:09.000Z");
    add_time(command, "--to", options->range.to, "list only frames before this time");
    command.flag("--csv", options->csv, "print comma-separated values");
}

}  // namespace ps_tool
