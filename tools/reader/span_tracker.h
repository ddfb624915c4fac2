#pragma once

#include <array>
#include <optional>
#include <vector>

#include "tools/reader/packet.h"

namespace reader {

/// Derives the spans of a recording from its packets.
class SpanTracker {
  public:
    /// Takes the next packet in file order; gives the span that it ended, if any.
    [[nodiscard]] std::optional<Span> take(const Packet& packet);

    /// The spans that were still open at the end, in the order of their slots.
    [[nodiscard]] std::vector<Span> rest() const;

  private:
    std::array<std::optional<Span>, kSlots> open_;
};

}  // namespace reader
