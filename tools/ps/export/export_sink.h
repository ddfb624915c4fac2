#pragma once

#include <memory>
#include <span>
#include <string>

#include "tools/cli/output_file.h"
#include "tools/ps/export/export_frames.h"

namespace ps_tool {

/// Writes exported frames. Throws cli::CannotRun that names the file.
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

enum class ExportFormat { kH264, kMp4, kMkv };

/// Writes the byte stream format (ITU-T H.264, annex B).
[[nodiscard]] std::unique_ptr<ExportSink> make_elementary_sink(cli::OutputFile& file,
                                                               const Selection& selection);

/// Loads libavformat and writes an MP4 or a Matroska file. Throws cli::CannotRun if the library is not
/// installed. The sink must not exist any more when the file is completed.
[[nodiscard]] std::unique_ptr<ExportSink> make_container_sink(cli::OutputFile& file, ExportFormat format,
                                                              const Selection& selection);

/// The number of bytes past the end of each frame that a container sink may read.
inline constexpr std::size_t kReadPadding = 64;

}  // namespace ps_tool
