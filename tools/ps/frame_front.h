#pragma once

// What precedes the first slice of a frame: parameter sets, and the slice's header.

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "platform/bytes.h"
#include "tools/h264/syntax.h"
#include "tools/reader/packet.h"
#include "tools/reader/recording.h"

namespace ps_tool {

/// The parameter sets in effect, parsed and as bytes.
class ActiveParameterSets {
  public:
    /// Ignores other units and malformed sets.
    void take(h264::Unit unit);

    [[nodiscard]] const h264::ParameterSets& parsed() const { return parsed_; }
    /// Sequence parameter sets come first, since their type is lower.
    [[nodiscard]] std::vector<platform::Byte> in_start_code_form() const;

  private:
    h264::ParameterSets parsed_;
    std::map<std::pair<std::uint8_t, std::uint32_t>, std::vector<platform::Byte>> bytes_;  // by type and id
};

/// The contents of a payload up to its first slice.
struct FrameFront {
    std::optional<h264::SliceHeader> slice;  // nothing if it is malformed or its parameter sets are missing
    bool has_slice = false;
    bool has_sets = false;

    /// Decoding can begin here, if the packet is that of a key frame.
    [[nodiscard]] bool begins_decoding() const { return slice && (slice->idr || slice->intra); }
};

/// Adds the payload's parameter sets to `sets`. The result refers to them.
[[nodiscard]] FrameFront parse_front(std::span<const platform::Byte> payload, ActiveParameterSets& sets);

/// The same for a packet of a recording. Reads as much of the payload as is necessary.
[[nodiscard]] FrameFront read_front(reader::Recording& recording, const reader::Packet& packet,
                                    ActiveParameterSets& sets);

}  // namespace ps_tool
