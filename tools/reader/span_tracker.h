#pragma once

#include <array>
#include <optional>
#include <vector>

#include "tools/reader/packet.h"

namespace reader {

/// Computes the spans of a recording from its packets.
class SpanTracker {
  public:
    /// Adds the next packet in file order. Returns the span that this packet ended, if any.
    [[nodiscard]] std::optional<Span> add(const Packet& packet);

    /// The spans that are still open, in slot order.
    [[nodiscard]] std::vector<Span> open_spans() const;

  private:
    std::array<std::optional<Span>, kSlots> open_;
};

}  // namespace reader
