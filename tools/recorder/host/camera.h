#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/recorder/host/clip.h"
#include "tools/recorder/host/host_documents.h"

namespace recorder {

/// A clip on a camera's own storage.
struct StoredClip {
    Clip clip;
    Seconds start = 0;

    [[nodiscard]] Seconds stop() const { return start + clip.seconds; }
};

/// A camera that keeps recordings of its own, as the host knows it.
struct Camera {
    Device device;
    std::string name;     // of its input; may hold anything
    std::string address;  // not empty: that would mean the camera was removed
    std::vector<StoredClip> storage;

    /// What the storage holds of an interval, in order of time.
    [[nodiscard]] std::vector<StoredClip> holdings(Seconds start, Seconds end) const;

    /// The camera overwrites all but its latest clips.
    void forget_but(std::size_t kept);

    /// Puts clips on the storage, one behind the other; returns the instant behind the last one.
    Seconds record(const std::vector<Clip>& clips, Seconds start);
};

/// Sizes are reported in megabytes, rounded up.
[[nodiscard]] std::int32_t megabytes_of(const std::vector<StoredClip>& clips);

}  // namespace recorder
