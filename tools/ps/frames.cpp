// norvanepi-ps frames: prints the entries of an index, one per line.

#include <fmt/format.h>

#include <memory>

#include "tools/cli/exit_status.h"
#include "tools/cli/recording_paths.h"
#include "tools/ps/command.h"
#include "tools/reader/recording.h"

namespace ps_tool {
namespace {

std::string link(std::uint32_t entry) {
    return entry == kNoEntry ? "" : std::to_string(entry);
}

template <typename... Cells>
void print_row(bool csv, const Cells&... cells) {
    if (csv) {
        fmt::print("{},{},{},{},{},{},{},{},{}\n", cells...);
    } else {
        fmt::print("{:>8} {:>4} {:<24} {:<3} {:>8} {:>12} {:>8} {:>8} {:>12}\n", cells...);
    }
}

void print_frame(const reader::Entry& entry, bool csv) {
    const bool key = entry.is_key();
    print_row(csv, entry.number, entry.slot, csv ? reader::rfc3339(entry.time) : reader::text_of(entry.time),
              csv ? (key ? "1" : "0") : (key ? "key" : ""), entry.packet_size, entry.packet_offset,
              link(entry.previous), link(entry.next), entry.key_distance);
}

}  // namespace

int run_frames(const Options& options) {
    cli::UnusableInputs unusable(kProgram);
    const auto paths = cli::recording_paths({options.recording}, unusable);
    if (paths.empty()) return unusable.status(cli::kSuccess);
    if (paths.size() != 1) throw cli::CannotRun(options.recording + ": contains more than one recording");
    reader::Recording recording(paths.front());
    if (!recording.has_index())
        throw cli::CannotRun(paths.front() + ": no index; run norvanepi-ps repair to create it");
    print_row(options.csv, "number", "slot", options.csv ? "time" : "time (UTC)", "key", "size", "position",
              "previous", "next", options.csv ? "key_distance" : "key distance");
    for (std::uint32_t number = 0; number < recording.entries(); ++number) {
        const auto entry = recording.entry(number);
        if (!entry)
            throw cli::CannotRun(fmt::format("{}: cannot read entry {} of the index", paths.front(), number));
        const std::int64_t instant = reader::instant_of(entry->time);
        if (instant >= options.range.from && instant < options.range.to) print_frame(*entry, options.csv);
    }
    return cli::kSuccess;
}

}  // namespace ps_tool
