#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/host_kit/host_documents.h"
#include "tools/recorder/model/clip.h"

namespace recorder {

using host_kit::Device, host_kit::Seconds, host_kit::StorageInfo, host_kit::ClipNotice;
using host_kit::device_document, host_kit::channel_document, host_kit::storage_info_document,
    host_kit::reservation_document, host_kit::clip_document, host_kit::done_document,
    host_kit::failed_document;
using host_kit::name_of, host_kit::quoted, host_kit::escaped, host_kit::about_device;

/// A clip on a camera's storage.
struct StoredClip {
    Clip clip;
    Seconds start = 0;

    [[nodiscard]] Seconds stop() const { return start + clip.seconds; }
};

/// A camera with its own storage.
struct Camera {
    Device device;
    std::string name;     // of its input; any text
    std::string address;  // an empty address means that the camera was removed
    std::vector<StoredClip> storage;

    /// The clips that overlap an interval, in order of time.
    [[nodiscard]] std::vector<StoredClip> clips_in(Seconds start, Seconds end) const;

    /// Removes all but the latest clips.
    void keep_latest(std::size_t kept);

    /// Stores consecutive clips; returns the end of the last one.
    Seconds record(const std::vector<Clip>& clips, Seconds start);
};

/// In the file names of the device's recordings: twelve bits of the identifier and eight of the number.
[[nodiscard]] std::uint32_t clip_id_of(const Device& device);

/// Sizes are reported in megabytes, rounded up.
[[nodiscard]] std::int32_t megabytes_of(const std::vector<StoredClip>& clips);

}  // namespace recorder
