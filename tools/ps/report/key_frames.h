#pragma once

#include <cstdint>
#include <vector>

#include "platform/bytes.h"
#include "tools/ps/frame_front.h"
#include "tools/ps/report/wanted_stills.h"
#include "tools/reader/packet.h"
#include "tools/reader/recording.h"

namespace ps_tool {

/// A key frame of a recording, and how long its picture is kept.
struct ChosenKeyFrame {
    std::int64_t time = 0;  // ms since 1970
    std::uint64_t offset = 0;
    std::uint32_t packet_size = 0;
    unsigned kept_until = 0;  // the last of the wanted stills', see thinning_step_of()
};

/// The wanted key frames of a recording.
struct ChosenKeyFrames {
    std::vector<ChosenKeyFrame> frames;  // by time; each once
    ActiveParameterSets sets;            // of the recording's first key frame
};

/// Finds the key frames of the first video slot in the index. Reads all packets instead if the recording has
/// no complete index, or if it is faulty.
[[nodiscard]] ChosenKeyFrames choose_key_frames(reader::Recording& recording, bool faulty,
                                                const std::vector<WantedStill>& wanted);

/// The frame in start-code form after its parameter sets. Its own replace those in `sets`. Throws
/// StillObstacle if they are missing or if the payload is not a key frame.
[[nodiscard]] std::vector<platform::Byte> decodable_stream(reader::Recording& recording,
                                                           const ChosenKeyFrame& frame,
                                                           ActiveParameterSets sets);

}  // namespace ps_tool
