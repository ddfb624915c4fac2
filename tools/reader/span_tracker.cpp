#include "tools/reader/span_tracker.h"

namespace reader {
namespace {

bool continues(const Span& span, const Packet& packet) {
    // A time that goes backwards is a gap too, because the unsigned difference wraps around.
    const std::uint32_t pause = packet.time.milliseconds - span.last.milliseconds;
    return span.kind == packet.kind() && span.last.date == packet.time.date && pause <= kSpanGap;
}

}  // namespace

std::optional<Span> SpanTracker::add(const Packet& packet) {
    std::optional<Span>& span = open_.at(packet.slot);
    std::optional<Span> ended;
    if (span && !continues(*span, packet)) {
        ended = span;
        span.reset();
    }
    if (!span) span = Span{packet.slot, packet.kind(), packet.time, packet.time};
    span->last = packet.time;
    return ended;
}

std::vector<Span> SpanTracker::open_spans() const {
    std::vector<Span> spans;
    for (const auto& span : open_) {
        if (span) spans.push_back(*span);
    }
    return spans;
}

}  // namespace reader
