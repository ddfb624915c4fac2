#include "tools/ps/camera_totals.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "tools/cli/plural.h"
#include "tools/cli/printable.h"
#include "tools/reader/packet_time.h"

namespace ps_tool {
namespace {

using cli::Json;

/// The start of a recording is rounded to a second, so shorter overlaps are usual.
constexpr std::int64_t kUsualOverlap = 1'000;  // ms

std::string time_text_of(std::int64_t instant, std::string (*text)(const reader::PacketTime&)) {
    const auto time = reader::packet_time_of(instant);
    return time ? text(*time) : "";
}

Intervals overlaps_of(const CameraCoverage& camera) {
    Intervals unusual = camera.overlaps;
    std::erase_if(unusual, [](const Interval& one) { return one.length() <= kUsualOverlap; });
    return unusual;
}

std::uint64_t bytes_of_all(const CameraCoverage& camera) {
    std::uint64_t bytes = 0;
    for (const RecordingFacts* one : camera.recordings) bytes += one->bytes;
    return bytes;
}

std::size_t faulty_of(const CameraCoverage& camera) {
    return static_cast<std::size_t>(
        std::ranges::count_if(camera.recordings, [](const RecordingFacts* one) { return one->faulty; }));
}

}  // namespace

void CameraTotals::add(const std::string& path, RecordingFacts facts) {
    paths_.push_back(path);
    facts_.push_back(std::move(facts));
}

const std::string& CameraTotals::path_of(const RecordingFacts* one) const {
    return paths_.at(static_cast<std::size_t>(one - facts_.data()));
}

/// Recordings with the same frame times and size. The earlier path is taken for the original.
std::vector<std::pair<std::string, std::string>> CameraTotals::copies_in(const CameraCoverage& camera) const {
    std::vector<const RecordingFacts*> sorted = camera.recordings;
    std::erase_if(sorted, [](const RecordingFacts* one) { return one->spans.empty(); });
    const auto key = [this](const RecordingFacts* one) {
        const FrameSpan& span = one->spans.front();
        return std::tuple(span.first, one->bytes, path_of(one));
    };
    std::ranges::sort(sorted, {}, key);
    std::vector<std::pair<std::string, std::string>> copies;
    const RecordingFacts* original = nullptr;
    for (const RecordingFacts* one : sorted) {
        const bool same =
            original != nullptr && one->spans == original->spans && one->bytes == original->bytes;
        if (same)
            copies.emplace_back(path_of(one), path_of(original));
        else
            original = one;
    }
    return copies;
}

void CameraTotals::print() const {
    for (const CameraCoverage& camera : coverage_of(facts_, {}).cameras) {
        const std::string names = fmt::format("\"{}\"", fmt::join(camera.names, "\", \""));
        fmt::print("camera {}{}: {}, {:.3f} s, {} bytes, {} with faults\n",
                   camera.clip_id.empty() ? "without id" : camera.clip_id,
                   camera.names.empty() ? "" : " " + cli::printable(names),
                   cli::plural(camera.recordings.size(), "recording"),
                   static_cast<double>(total_length(camera.recorded)) / 1000, bytes_of_all(camera),
                   faulty_of(camera));
        for (const Interval& overlap : overlaps_of(camera))
            fmt::print("  recorded twice: {} to {} UTC\n", time_text_of(overlap.begin, reader::text_of),
                       time_text_of(overlap.end, reader::text_of));
        for (const auto& [copy, original] : copies_in(camera))
            fmt::print("  {}: same times and size as {}\n", cli::printable(copy), cli::printable(original));
    }
}

Json CameraTotals::json() const {
    Json cameras = Json::array();
    for (const CameraCoverage& camera : coverage_of(facts_, {}).cameras) {
        Json overlaps = Json::array();
        for (const Interval& overlap : overlaps_of(camera))
            overlaps.push_back({{"start", time_text_of(overlap.begin, reader::rfc3339)},
                                {"end", time_text_of(overlap.end, reader::rfc3339)}});
        Json copies = Json::array();
        for (const auto& [copy, original] : copies_in(camera)) {
            Json one;
            cli::add_path(one, copy);
            one["original"] = original;
            copies.push_back(one);
        }
        cameras.push_back({{"id", camera.clip_id.empty() ? Json() : Json(camera.clip_id)},
                           {"names", camera.names},
                           {"recording_count", camera.recordings.size()},
                           {"faulty_count", faulty_of(camera)},
                           {"bytes", bytes_of_all(camera)},
                           {"recorded_ms", total_length(camera.recorded)},
                           {"overlaps", overlaps},
                           {"copies", copies}});
    }
    return cameras;
}

}  // namespace ps_tool
