#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>

#include "platform/bytes.h"
#include "tools/ps/report/still_rungs.h"

namespace ps_tool {

/// Why the picture of a key frame is missing.
class StillObstacle : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

inline constexpr std::int64_t kMaxPicturePixels = 64'000'000;  // 10,000 x 6400

/// Decodes key frames and encodes them as small JPEG images. For one thread.
class StillCodec {
  public:
    StillCodec() = default;
    StillCodec(const StillCodec&) = delete;
    StillCodec& operator=(const StillCodec&) = delete;
    virtual ~StillCodec() = default;

    /// The images of the rungs from `first_rung` on. The stream is a key frame after its parameter sets, in
    /// start-code form. It may be damaged. Throws StillObstacle if it cannot be decoded completely.
    [[nodiscard]] virtual StillImages images(std::span<const platform::Byte> stream,
                                             std::size_t first_rung) = 0;
};

/// May be called by several threads at once.
using MakeStillCodec = std::function<std::unique_ptr<StillCodec>()>;

/// Loads libavcodec. Throws cli::CannotRun if it is not installed or has no decoder of H.264.
[[nodiscard]] MakeStillCodec load_still_codec();

}  // namespace ps_tool
