#include "tools/ps/recording_json.h"

#include <fmt/format.h>

#include "tools/reader/recording_info.h"

namespace ps_tool {
namespace {

using cli::Json;

Json time_of(const reader::PacketTime& time) {
    return time.plausible() ? Json(reader::rfc3339(time)) : Json();
}

Json streams_of(const reader::Report& report) {
    Json streams = Json::array();
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
        if (report.packets.at(slot) == 0) continue;
        const reader::MapStream& stream = report.map.streams.at(slot);
        streams.push_back({{"slot", slot},
                           {"id", stream.id},
                           {"type", stream.type},
                           {"name", stream.name},
                           {"width", stream.width},
                           {"height", stream.height},
                           {"frames", report.packets.at(slot)}});
    }
    return streams;
}

Json spans_of(const reader::Report& report) {
    Json spans = Json::array();
    for (const reader::Span& span : report.span_list) {
        spans.push_back({{"slot", span.slot},
                         {"kind", span.kind},
                         {"first", time_of(span.first)},
                         {"last", time_of(span.last)}});
    }
    return spans;
}

/// The year 2128 has no time in the format, so the end of the last frame of 2127 is not told.
Json time_json(std::int64_t instant) {
    const auto time = reader::packet_time_of(instant);
    return time ? Json(reader::rfc3339(*time)) : Json();
}

Json recorded_of(const std::vector<FrameSpan>& recorded) {
    Json spans = Json::array();
    for (const FrameSpan& span : recorded) {
        spans.push_back(
            {{"first", time_json(span.first)}, {"last", time_json(span.last)}, {"end", time_json(span.end)}});
    }
    return spans;
}

Json faults_of(const reader::Report& report) {
    Json faults = Json::array();
    for (const reader::Fault& fault : report.faults.kept()) {
        faults.push_back({{"file", fault.file},
                          {"offset", fault.offset},
                          {"entry", fault.entry ? Json(*fault.entry) : Json()},
                          {"text", fault.text},
                          {"mendable", report.repairs(fault)}});
    }
    return faults;
}

}  // namespace

Json json_of(const reader::Report& report) {
    const bool empty = report.frames == 0;
    const auto path = reader::parse_recording_path(report.path);
    Json json;
    cli::add_path(json, report.path);
    json.update({{"clip_id", path ? Json(path->clip_id) : Json()},
                 {"local_start", path ? Json(reader::rfc3339(path->local_start).substr(0, 19)) : Json()},
                 {"first", empty ? Json() : time_of(report.first)},
                 {"last", empty ? Json() : time_of(report.last)},
                 {"frames", report.frames},
                 {"key_frames", report.key_frames},
                 {"bytes", report.data_size},
                 {"index_bytes", report.index_size},
                 {"streams", streams_of(report)},
                 {"spans", spans_of(report)},
                 {"verified", report.verified()},
                 {"mendable", report.repairable()},
                 {"fault_count", report.faults.count()},
                 {"faults", faults_of(report)}});
    return json;
}

Json json_of(const reader::Report& report, const reader::Curve& curve,
             const std::vector<FrameSpan>& recorded) {
    Json json = json_of(report);
    json["recorded"] = recorded_of(recorded);
    json["curve"] = {
        {"step_ms", curve.step()}, {"bytes", curve.bytes()}, {"key_distance", curve.key_distances()}};
    return json;
}

}  // namespace ps_tool
