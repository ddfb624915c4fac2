#pragma once

// The path of a recording: output directory, local time of the clip, and clip id.

#include <cstdint>
#include <string>

#include "plugin/interfaces/stream_record.h"

namespace norvane {

/// The clip id in the file name: bits 16 to 27 of the device identifier, the low byte of the device number,
/// and the input.
[[nodiscard]] std::uint32_t clip_id(const StreamRecord& request) noexcept;

/// Time of the clip's first frame in seconds since 1970 (UTC). Directory and file name show it in local time,
/// the times inside the file are UTC.
[[nodiscard]] std::int64_t time_base(const StreamRecord& request) noexcept;

struct ClipPath {
    std::string directory;  // outputDirectory + YYYY/MM/DD/HH, joined without a separator
    std::string file_name;  // mmss-XXXXXXXXe.ps

    [[nodiscard]] std::string full() const { return directory + "/" + file_name; }
};

[[nodiscard]] ClipPath clip_path(const std::string& output_directory, std::int64_t time_base,
                                 std::uint32_t clip_id);

}  // namespace norvane
