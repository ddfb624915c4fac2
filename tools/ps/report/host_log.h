#pragma once

#include <cstdint>
#include <istream>
#include <optional>
#include <string_view>

#include "tools/ps/report/loss_tracker.h"
#include "tools/ps/time_argument.h"

namespace ps_tool {

/// The number of lines of a log.
struct LineCounts {
    std::uint64_t used = 0;
    std::uint64_t skipped = 0;
};

/// Reads a host's log (docs/tools.md, report). A line contains a document, or begins with a time and contains
/// a log text of the module; other lines are skipped. Memory does not grow with the log.
LineCounts read_host_log(std::istream& lines, const Zone& zone, LossTracker& tracker);

/// The time of the first line that begins with one, in ms since 1970 UTC.
[[nodiscard]] std::optional<std::int64_t> first_log_time(std::istream& lines, const Zone& zone);

/// The time at the begin of a line: "2018-06-22T16:05:09" or with a space, with or without "[", a fraction,
/// and "Z" or an offset like +02:00 or +0200.
[[nodiscard]] std::optional<std::int64_t> parse_log_time(std::string_view line, const Zone& zone);

}  // namespace ps_tool
