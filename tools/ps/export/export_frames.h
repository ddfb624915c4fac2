#pragma once

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/h264/syntax.h"
#include "tools/ps/command.h"
#include "tools/ps/coverage/timeline.h"
#include "tools/ps/export/cameras.h"

namespace ps_tool {

/// A frame to export. Times are in ms, the unit of recorded times; the first frame was recorded at 0.
struct ExportFrame {
    std::size_t recording = 0;     // index into Camera::recordings
    std::uint64_t payload_at = 0;  // offset in its data file
    std::uint32_t size = 0;        // bytes of the payload
    bool key = false;              // decoding can begin here
    std::uint32_t sequence = 0;    // presentation order is defined within a sequence
    std::int64_t order = 0;        // picture order count in its sequence
    std::int64_t decoded = 0;
    std::int64_t shown = 0;     // set by set_times
    std::int64_t duration = 0;  // set by set_times: up to the next frame of the span
};

/// Time without a gap.
struct RecordedSpan {
    Interval recorded;          // ms since 1970
    std::int64_t position = 0;  // of its begin in the exported file
};

/// The frames of one camera in decoding order, and the parameters that a decoder needs.
struct Selection {
    Camera camera;
    std::vector<ExportFrame> frames;
    std::int64_t begins = 0;                // when the first frame was recorded, ms since 1970
    std::vector<platform::Byte> head;       // parameter sets, each with a start code
    bool parameter_sets_in_stream = false;  // the first frame contains them
    std::uint32_t width = 0;                // pixels
    std::uint32_t height = 0;
    std::vector<RecordedSpan> spans;    // set by set_times
    std::vector<std::string> warnings;  // what is missing from the result

    /// The indexes of the recordings that frames come from, in ascending order.
    [[nodiscard]] std::vector<std::size_t> used_recordings() const;
};

/// Nothing can be exported. The message says why.
class ExportRefused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// NAL units of parameter sets.
using ParameterSetUnits = std::vector<std::vector<platform::Byte>>;

/// Reads the parameter sets of a clip's first H.264 track from the AVC configuration box of its sample
/// description (ISO/IEC 14496-15, 5.3.3.1). Throws cli::CannotRun if the clip cannot be opened, ExportRefused
/// if it has none.
[[nodiscard]] ParameterSetUnits parameter_sets_of(const std::string& clip);

/// Called with the fraction that is done, 0 to 1.
using ShowFraction = std::function<void(double)>;

/// Selects the frames of a range from the recordings of a camera: from the last key frame up to its begin to
/// before the first key frame at or after its end. Skips frames that cannot be decoded: those before a
/// recording's first key frame, and those of a recording that overlaps the previous one. `given` are
/// parameter sets for recordings that contain none. Selects the intact frames of damaged recordings. Throws
/// ExportRefused if there are no frames or no parameter sets.
[[nodiscard]] Selection select_frames(const Camera& camera, const TimeRange& range,
                                      const ParameterSetUnits& given, const ShowFraction& show);

/// Presents each sequence's frames in the order of their counts, at the recorded times. Decoding times move
/// earlier by the delay that keeps each frame's decoding before its presentation. The last frame of a span is
/// as long as the median of the others.
void set_times(Selection& selection);

/// Shortens longer gaps to this duration, and adds a warning for each.
void limit_gaps(Selection& selection, std::int64_t longest);

}  // namespace ps_tool
