#include "tools/ps/time_range.h"

#include <algorithm>

#include "tools/cli/exit_status.h"
#include "tools/ps/for_each_recording.h"
#include "tools/reader/packet.h"

namespace ps_tool {
namespace {

/// Of the first packet in the data file. The index may be missing.
std::optional<std::int64_t> first_instant(reader::Recording& recording) {
    const auto header = recording.packet_header(kPacketsAt);
    if (!header) return std::nullopt;
    const reader::PacketTime time = reader::parse_packet(*header, 0, kPacketsAt).time;
    return time.plausible() ? std::optional(reader::instant_of(time)) : std::nullopt;
}

std::optional<std::int64_t> last_instant(reader::Recording& recording) {
    if (recording.entries() == 0) return std::nullopt;
    const auto entry = recording.entry(recording.entries() - 1);
    return entry && entry->time.plausible() ? std::optional(reader::instant_of(entry->time)) : std::nullopt;
}

}  // namespace

bool may_overlap(reader::Recording& recording, const TimeRange& range) {
    if (range.is_all()) return true;
    const auto first = first_instant(recording);
    const auto last = last_instant(recording);
    if (!first || !last) return true;
    return std::max(*first, *last) >= range.from && *first < range.to;
}

PeriodLimits limits_of(const TimeRange& range) {
    const TimeRange open;
    PeriodLimits limits;
    if (range.from != open.from) limits.from = range.from;
    if (range.to != open.to) limits.to = range.to;
    for (const auto& limit : {limits.from, limits.to}) {
        if (limit && !reader::packet_time_of(*limit))
            throw cli::CannotRun("--from and --to must be in the years 2000 to 2127");
    }
    if (limits.from && limits.to && *limits.from >= *limits.to)
        throw cli::CannotRun("--from must be before --to");
    return limits;
}

}  // namespace ps_tool
