#pragma once

#include <memory>
#include <span>
#include <string>

#include "tools/ps/export/export_frames.h"

namespace ps_tool {

/// Where exported frames go. Every failure is a std::runtime_error with the file's name in it.
class ExportSink {
  public:
    ExportSink() = default;
    ExportSink(const ExportSink&) = delete;
    ExportSink& operator=(const ExportSink&) = delete;
    virtual ~ExportSink() = default;

    /// The frames in decoding order, each with its bytes in start-code form.
    virtual void write(const ExportFrame& frame, std::span<platform::Byte> bytes) = 0;
    virtual void finish() = 0;
};

/// The bare stream (ITU-T H.264, annex B); "-" is standard output.
[[nodiscard]] std::unique_ptr<ExportSink> make_elementary_sink(const std::string& path,
                                                               const Selection& selection);

/// An .mp4 or .mkv file, by libavformat, which is loaded now. Throws cli::CannotRun where it is not there.
[[nodiscard]] std::unique_ptr<ExportSink> make_container_sink(const std::string& path,
                                                              const Selection& selection);

/// Bytes behind each frame's that a container sink may read.
inline constexpr std::size_t kReadBeyond = 64;

}  // namespace ps_tool
