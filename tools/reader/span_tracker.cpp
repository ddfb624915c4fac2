#include "tools/reader/span_tracker.h"

namespace reader {
namespace {

bool continues(const Span& span, const Entry& entry) {
    // Unsigned: a time that goes backwards is a gap as well.
    const std::uint32_t pause = entry.moment.milliseconds - span.last.milliseconds;
    return span.kind == entry.kind() && span.last.date == entry.moment.date && pause <= kSpanGap;
}

}  // namespace

std::optional<Span> SpanTracker::take(const Entry& entry) {
    std::optional<Span>& span = open_.at(entry.slot);
    std::optional<Span> ended;
    if (span && !continues(*span, entry)) {
        ended = span;
        span.reset();
    }
    if (!span) span = Span{entry.slot, entry.kind(), entry.moment, entry.moment};
    span->last = entry.moment;
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
