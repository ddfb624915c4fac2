#include "tools/reader/span_tracker.h"

namespace reader {
namespace {

bool continues(const Span& span, const Packet& packet) {
    // Unsigned: a time that goes backwards is a gap as well.
    const std::uint32_t pause = packet.moment.milliseconds - span.last.milliseconds;
    return span.kind == packet.kind() && span.last.date == packet.moment.date && pause <= kSpanGap;
}

}  // namespace

std::optional<Span> SpanTracker::take(const Packet& packet) {
    std::optional<Span>& span = open_.at(packet.slot);
    std::optional<Span> ended;
    if (span && !continues(*span, packet)) {
        ended = span;
        span.reset();
    }
    if (!span) span = Span{packet.slot, packet.kind(), packet.moment, packet.moment};
    span->last = packet.moment;
    return ended;
}

std::vector<Span> SpanTracker::rest() const {
    std::vector<Span> rest;
    for (const auto& span : open_) {
        if (span) rest.push_back(*span);
    }
    return rest;
}

}  // namespace reader
