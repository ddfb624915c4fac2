#pragma once

// The documents that the host sends: without white space and XML declaration.

#include <cstdint>
#include <optional>
#include <string>

namespace recorder {

/// Seconds since 1970-01-01 00:00:00 UTC.
using Seconds = std::int64_t;

/// The host's identifier of a camera.
struct Device {
    std::uint32_t identifier = 0;  // ID of the Devices element
    std::uint32_t number = 0;

    auto operator<=>(const Device&) const = default;
};

/// The form used in log lines.
[[nodiscard]] std::string name_of(const Device& device);

/// A path in the form of FileName and TmpFileDir: in quotes, with & before every quote and & inside.
[[nodiscard]] std::string quoted(const std::string& path);

[[nodiscard]] std::string device_document(const Device& device, const std::string& address);
[[nodiscard]] std::string channel_document(const Device& device, bool connected, Seconds time);

/// The recordings that the camera has for an operation; 0 if there is nothing to retrieve.
struct StorageInfo {
    std::int32_t recordings = 0;
    std::int32_t megabytes = 0;
    Seconds oldest = 0;
    Seconds newest = 0;
};
[[nodiscard]] std::string storage_info_document(const Device& device, const std::string& guid,
                                                const StorageInfo& info);

[[nodiscard]] std::string reservation_document(const std::string& guid,
                                               const std::string& temporary_directory,
                                               const std::string& output_directory);

struct ClipNotice {
    std::string file;
    Seconds start = 0;
    Seconds stop = 0;
    std::string input_name;
    std::int32_t type = 1;
};
[[nodiscard]] std::string clip_document(const Device& device, const std::string& guid,
                                        const ClipNotice& clip);

[[nodiscard]] std::string done_document(const Device& device, const std::string& guid);
[[nodiscard]] std::string failed_document(const Device& device, const std::string& guid, std::int32_t error,
                                          Seconds failed_clip_start);

}  // namespace recorder
