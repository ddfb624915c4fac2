#include "tools/recorder/model/camera.h"

#include <algorithm>
#include <iterator>

namespace recorder {

std::vector<StoredClip> Camera::clips_in(Seconds start, Seconds end) const {
    std::vector<StoredClip> found;
    std::ranges::copy_if(storage, std::back_inserter(found), [&](const StoredClip& stored) {
        return stored.start < end && stored.stop() > start;
    });
    return found;
}

Seconds Camera::record(const std::vector<Clip>& clips, Seconds start) {
    for (const Clip& clip : clips) {
        storage.push_back({clip, start});
        start = storage.back().stop();
    }
    return start;
}

void Camera::keep_latest(std::size_t kept) {
    if (storage.size() > kept)
        storage.erase(storage.begin(), storage.end() - static_cast<std::ptrdiff_t>(kept));
}

std::uint32_t clip_id_of(const Device& device) {
    return (device.devices_id & 0x0FFF0000U) + (device.number & 0xFFU) * 256U + 0x80U;
}

std::int32_t megabytes_of(const std::vector<StoredClip>& clips) {
    constexpr std::uint64_t kMegabyte = 1 << 20U;
    std::uint64_t bytes = 0;
    for (const StoredClip& stored : clips) bytes += stored.clip.bytes;
    return static_cast<std::int32_t>(std::min<std::uint64_t>((bytes + kMegabyte - 1) / kMegabyte, INT32_MAX));
}

}  // namespace recorder
