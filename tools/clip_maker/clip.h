#pragma once

#include <cstdint>
#include <filesystem>

#include "tools/clip_maker/clip_writer.h"

namespace recorder {

/// A clip as a camera's own storage would give it, and what its recording has to show.
struct Clip {
    std::filesystem::path file;
    std::uint64_t bytes = 0;
    std::int64_t seconds = 0;  // its length, rounded up
    std::uint32_t frames = 0;  // samples of its tracks that are no AAC audio
};

/// Reads the facts from the movie box (ISO/IEC 14496-12, 8.2). Throws cli::CannotRun for a file that cannot
/// be read and for anything but an MP4 clip with its samples in tables.
[[nodiscard]] Clip look_at_clip(const std::filesystem::path& file);

/// Writes a clip of a few kilobytes: H.264 samples of the right form, at 25 frames a second, without a
/// picture in them. For conversations that are about the messages.
[[nodiscard]] Clip make_small_clip(const std::filesystem::path& file, std::int64_t seconds);

/// Writes the planned clip.
[[nodiscard]] Clip make_clip(const std::filesystem::path& file, const ClipPlan& plan);

}  // namespace recorder
