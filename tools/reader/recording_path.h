#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/reader/packet_time.h"

namespace reader {

/// What a recording's path says: YYYY/MM/DD/HH/mmss-XXXXXXXXe.ps below any directory.
struct PathFacts {
    PacketTime local_start;  // on the recorder's own clock
    std::string clip_id;
};

/// Nothing for a path of another form.
[[nodiscard]] std::optional<PathFacts> facts_of_path(const std::string& data_path);

/// How far a local time is ahead of UTC, in minutes, if a time zone can be that far ahead: zones differ by
/// quarters of an hour, from -12 to +14 hours.
[[nodiscard]] std::optional<int> zone_between(const PacketTime& utc, const PacketTime& local);

}  // namespace reader
