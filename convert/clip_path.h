#pragma once

// What a recording's path says: the output tree, the clip's local time, and who recorded it.

#include <cstdint>
#include <string>

#include "plugin/interfaces/stream_record.h"

namespace norvane {

/// The clip id of the file name: bits 16 to 27 of the devices identifier, the low byte of the device number,
/// and the input.
[[nodiscard]] std::uint32_t clip_id(const StreamRecord& request) noexcept;

/// Seconds since 1970 of the clip's first frame. An instant: directory and file name show it in local time,
/// the times inside the file in UTC, in every zone and on both sides of a clock change.
[[nodiscard]] std::int64_t time_base(const StreamRecord& request) noexcept;

struct ClipPath {
    std::string directory;  // outputDirectory + YYYY/MM/DD/HH, with no separator put between them
    std::string file_name;  // mmss-XXXXXXXXe.ps

    [[nodiscard]] std::string whole() const { return directory + "/" + file_name; }
};

[[nodiscard]] ClipPath clip_path(const std::string& output_directory, std::int64_t time_base,
                                 std::uint32_t clip_id);

}  // namespace norvane
