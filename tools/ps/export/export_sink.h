#pragma once

#include <memory>
#include <span>
#include <string>

#include "tools/ps/export/export_frames.h"

namespace ps_tool {

/// Writes exported frames. Throws std::runtime_error that names the file.
class ExportSink {
  public:
    ExportSink() = default;
    ExportSink(const ExportSink&) = delete;
    ExportSink& operator=(const ExportSink&) = delete;
    virtual ~ExportSink() = default;

    /// Called in decoding order, with the frame's bytes in start-code form.
    virtual void write(const ExportFrame& frame, std::span<platform::Byte> bytes) = 0;
    virtual void finish() = 0;
};

/// Loads libavformat and writes an .mp4 or .mkv file. Throws cli::CannotRun if the library is not installed.
[[nodiscard]] std::unique_ptr<ExportSink> make_container_sink(const std::string& path,
                                                              const Selection& selection);

/// The number of bytes past the end of each frame that a container sink may read.
inline constexpr std::size_t kReadPadding = 64;

}  // namespace ps_tool
