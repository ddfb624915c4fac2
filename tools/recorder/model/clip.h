#pragma once

#include <cstdint>
#include <filesystem>

#include "tools/clip_maker/clip_maker.h"

namespace recorder {

/// A clip in a camera's own storage.
struct Clip {
    std::filesystem::path file;
    std::uint64_t bytes = 0;
    std::int64_t seconds = 0;  // length, rounded up
    std::uint32_t frames = 0;  // samples of all tracks but AAC audio: what the recording must contain
    std::uint32_t fragment_frames = 0;  // the same in movie fragments, which only the safe profile converts
    bool other_coding = false;          // it has tracks, but none is H.264
    bool mp4 = true;                    // false: the module must refuse it
};

/// Reads these facts from the boxes (ISO/IEC 14496-12, 8.2 and 8.8). Throws cli::CannotRun if the file cannot
/// be read or has tracks for which the result is not prescribed.
[[nodiscard]] Clip inspect_clip(const std::filesystem::path& file);

/// Writes the clip and inspects it.
[[nodiscard]] Clip write_clip(const std::filesystem::path& file, const clip_maker::Clip& clip);

/// Of the small clips.
inline constexpr std::uint32_t kFramesPerSecond = 25;

/// Writes a clip of a few kilobytes at 25 frames a second, for scenarios about messages. Its H.264 samples
/// are well-formed but contain no picture.
[[nodiscard]] Clip write_small_clip(const std::filesystem::path& file, std::int64_t seconds);

}  // namespace recorder
