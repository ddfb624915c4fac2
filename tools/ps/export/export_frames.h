#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/h264/parameter_sets.h"

namespace ps_tool {

/// Ticks of exported times: 90 kHz, as the standard's own.
inline constexpr std::int64_t kTicksPerMillisecond = 90;

/// One frame to export, in decoding order. Times in ticks; the first one was recorded at 0.
struct ExportFrame {
    std::size_t recording = 0;     // index into Selection::recordings
    std::uint64_t payload_at = 0;  // offset in its data file
    std::uint32_t size = 0;        // bytes of the payload
    bool key = false;              // decoding can begin here
    std::uint32_t sequence = 0;    // frames of one sequence are ordered among each other
    std::int64_t order = 0;        // picture order count in it
    std::int64_t decoded = 0;
    std::int64_t shown = 0;     // by give_presentation_times
    std::int64_t duration = 0;  // likewise: up to the next one in decoding order
};

struct TimeRange {
    std::int64_t from = std::numeric_limits<std::int64_t>::min();  // ms since 1970
    std::int64_t to = std::numeric_limits<std::int64_t>::max();
};

/// The frames of one camera, and what a decoder needs before the first one.
struct Selection {
    std::vector<std::string> recordings;  // data files in the order of their first frames
    std::vector<ExportFrame> frames;
    std::int64_t begins = 0;                // when the first frame was recorded, ms since 1970
    std::vector<platform::Byte> head;       // parameter sets, each behind a start code
    bool parameter_sets_in_stream = false;  // in front of the first frame
    std::uint32_t width = 0;                // pixels
    std::uint32_t height = 0;
    std::vector<std::string> remarks;  // what the result lacks, for people
};

/// There is nothing to export, for a reason that the user can act on.
class Refused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Units of parameter sets that a stream does not carry itself.
using GivenSets = std::vector<std::vector<platform::Byte>>;

/// Goes through the recordings, several of them as one, and picks the frames of the range: from the key frame
/// at or before its begin up to the one at or behind its end. Frames that nothing can be decoded from are
/// left out: those ahead of a recording's first key frame, and those of a recording that overlaps the one
/// before it. Damaged recordings give what is whole in them. Throws Refused where there is no frame or no
/// parameter set.
[[nodiscard]] Selection select_frames(const std::vector<std::string>& paths, const TimeRange& range,
                                      const GivenSets& given);

/// Each sequence's frames are shown in the order of their counts at the times at which they were recorded;
/// all of them are decoded so much earlier that none is shown before.
void give_presentation_times(std::vector<ExportFrame>& frames);

}  // namespace ps_tool
