#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/reader/packet_time.h"

namespace reader {

/// The information in a recording's path: YYYY/MM/DD/HH/mmss-XXXXXXXXe.ps below any directory.
struct RecordingPath {
    PacketTime local_start;  // in the recorder's time zone
    std::string clip_id;
};

/// Nothing if the path has another form.
[[nodiscard]] std::optional<RecordingPath> parse_recording_path(const std::string& data_path);

/// The difference between local time and UTC, in minutes. Nothing if no time zone has this offset: offsets
/// are multiples of 15 minutes from -12 to +14 hours.
[[nodiscard]] std::optional<int> utc_offset_minutes(const PacketTime& utc, const PacketTime& local);

}  // namespace reader
