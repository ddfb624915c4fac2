#include "tools/ps/report/page_data.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "tools/ps/report/outliers.h"
#include "tools/reader/packet_time.h"
#include "tools/reader/recording_info.h"

namespace ps_tool {
namespace {

using cli::Json;

constexpr std::size_t kMaxCurves = 20'000;  // a browser cannot open a page with more

std::int64_t instant_of(const Json& time) {
    const auto instant = reader::parse_instant(time.get<std::string>());
    if (!instant) throw std::runtime_error("'" + time.get<std::string>() + "' is not a time");
    return *instant;
}

Json instant_or_null(const Json& time) {
    return time.is_null() ? Json() : Json(instant_of(time));
}

/// Rounds to whole seconds: the duration of a span's last frame is unknown.
Intervals round_to_seconds(const Intervals& intervals) {
    Intervals rounded;
    for (const Interval& one : intervals)
        rounded.push_back(
            {one.begin / kMsPerSecond * kMsPerSecond, (one.end / kMsPerSecond + 1) * kMsPerSecond});
    return merge(std::move(rounded));
}

/// Documents of earlier versions have no "recorded" member; then the end of a last frame is unknown.
std::vector<FrameSpan> recorded_of(const Json& recording) {
    const bool exact = recording.contains("recorded");
    std::vector<FrameSpan> spans;
    for (const Json& span : recording.at(exact ? "recorded" : "spans")) {
        if (span.at("first").is_null() || span.at("last").is_null()) continue;
        const std::int64_t last = instant_of(span.at("last"));
        const Json end = exact ? span.at("end") : Json();
        spans.push_back({instant_of(span.at("first")), last, end.is_null() ? last + 1 : instant_of(end)});
    }
    return spans;
}

RecordingFacts facts_in(const Json& recording) {
    const Json& streams = recording.at("streams");
    return {.clip_id = reader::clip_id_in(recording.at("path").get<std::string>()),
            .name = streams.empty() ? "" : streams.at(0).at("name").get<std::string>(),
            .spans = recorded_of(recording),
            .bytes = recording.at("bytes").get<std::uint64_t>(),
            .faulty = recording.at("fault_count").get<std::uint64_t>() > 0,
            .repairable = recording.at("mendable").get<bool>()};
}

/// What the path and the first frame tell about the zone.
std::optional<ZoneOffset> offset_of(const Json& recording) {
    if (recording.at("first").is_null() || !recording.contains("local_start") ||
        recording.at("local_start").is_null())
        return std::nullopt;
    const std::int64_t first = instant_of(recording.at("first"));
    const auto utc = reader::packet_time_of(first);
    const auto local = reader::packet_time_of(instant_of(recording.at("local_start")));
    const auto minutes = utc && local ? reader::utc_offset_minutes(*utc, *local) : std::nullopt;
    return minutes ? std::optional(ZoneOffset{first, *minutes}) : std::nullopt;
}

Json offsets_json(const std::vector<ZoneOffset>& offsets) {
    Json list = Json::array();
    for (const ZoneOffset& one : offsets) list.push_back({one.from, one.minutes});
    return list;
}

/// Two numbers for each gap: the distance of its begin from the previous begin, the first one from 1970, and
/// its length.
Json gaps_json(const Intervals& gaps) {
    Json flat = Json::array();
    std::int64_t before = 0;
    for (const Interval& gap : gaps) {
        flat.push_back(gap.begin - before);
        flat.push_back(gap.length());
        before = gap.begin;
    }
    return flat;
}

bool has_frames(const CameraCoverage& camera) {
    return std::ranges::any_of(camera.recordings,
                               [](const RecordingFacts* one) { return !one->spans.empty(); });
}

/// The names of other cameras with the same clip id, whose recordings overlap in time: they overwrite each
/// other's recordings.
Json names_sharing_id(const Coverage& coverage, const CameraCoverage& camera) {
    Json names = Json::array();
    for (const CameraCoverage& other : coverage.cameras) {
        if (&other != &camera && !camera.clip_id.empty() && other.clip_id == camera.clip_id)
            names.push_back(other.label());
    }
    return names;
}

Json nullable(const std::optional<std::int64_t>& value) {
    return value ? Json(*value) : Json();
}

const char* name_of(Outcome outcome) {
    switch (outcome) {
        case Outcome::kRecovered:
            return "recovered";
        case Outcome::kNotOnCamera:
            return "absent";
        case Outcome::kRefused:
            return "refused";
        case Outcome::kFailed:
            return "failed";
        case Outcome::kOpen:
            break;
    }
    return "open";
}

Json parts_json(const std::vector<GapPart>& parts) {
    Json list = Json::array();
    for (const GapPart& part : parts)
        list.push_back(
            {part.clip_id, part.time.begin, part.time.length(), name_of(part.outcome), part.reason});
    return list;
}

}  // namespace

PageRecording page_recording(const Json& recording) {
    PageRecording result{.facts = facts_in(recording)};
    for (const Json& span : recording.at("spans")) {
        if (span.at("first").is_null() || span.at("last").is_null()) continue;
        result.spans.push_back({{instant_of(span.at("first")), instant_of(span.at("last"))},
                                span.at("kind").get<std::uint8_t>()});
    }
    const Json& faults = recording.at("faults");
    result.row = {recording.at("path"),
                  instant_or_null(recording.at("first")),
                  instant_or_null(recording.at("last")),
                  recording.at("frames"),
                  recording.at("key_frames"),
                  recording.at("bytes"),
                  recording.at("fault_count"),
                  recording.at("mendable"),
                  faults.empty() ? Json("") : faults.at(0).at("text")};
    if (recording.at("first").is_null() && recording.contains("local_start"))
        result.local_start = instant_or_null(recording.at("local_start"));
    if (recording.contains("curve")) result.curve = recording.at("curve");
    result.offset = offset_of(recording);
    return result;
}

void PageData::add(std::shared_ptr<const PageRecording> recording) {
    if (recording->shown) ++files_;
    if (recording->shown && recording->facts.faulty) ++faulty_files_;
    recordings_.push_back(std::move(recording));
}

void PageData::account_for(const std::vector<LostTime>& lost) {
    std::map<std::string, Intervals> covered;
    for (const auto& one : recordings_) {
        for (const FrameSpan& span : one->facts.spans)
            covered[one->facts.clip_id].push_back({span.first, span.last});
    }
    for (auto& [id, intervals] : covered) intervals = round_to_seconds(intervals);
    parts_ = outcomes_of(lost, covered);
}

/// The time for which gaps are computed. It continues for two days after the newest frame, but not into the
/// future, because a camera that is silent now has a gap.
Interval PageData::extent(const std::vector<RecordingFacts>& recordings) const {
    const Interval recorded = extent_of(recordings).value_or(Interval{});
    const std::int64_t until = std::max(recorded.end, std::min(options_.now, recorded.end + 2 * kDay));
    Interval all{options_.limits.from.value_or(recorded.begin), options_.limits.to.value_or(until)};
    if (!options_.limits.from) all.begin = std::min(all.begin, all.end);
    all.end = std::max(all.begin, all.end);
    return all;
}

std::vector<ZoneOffset> PageData::offsets(const Interval& extent,
                                          const std::vector<std::size_t>& recordings) const {
    if (options_.zone) return offsets_of(*options_.zone, extent);
    std::vector<ZoneOffset> seen;
    for (const std::size_t number : recordings) {
        if (const auto& offset = recordings_[number]->offset) seen.push_back(*offset);
    }
    return offsets_of(std::move(seen));
}

/// Encodes a span as three numbers: its begin relative to the previous begin, its length and its kind.
Json PageData::camera_json(const CameraCoverage& camera, const std::vector<std::size_t>& recordings) const {
    std::vector<PageRecording::KindSpan> spans;
    for (const std::size_t number : recordings) {
        const auto& own = recordings_[number]->spans;
        spans.insert(spans.end(), own.begin(), own.end());
    }
    std::ranges::sort(spans, {}, [](const PageRecording::KindSpan& span) {
        return std::pair(span.time.begin, span.time.end);
    });
    Json flat = Json::array();
    std::int64_t before = spans.empty() ? 0 : spans.front().time.begin;
    for (const PageRecording::KindSpan& span : spans) {
        flat.insert(flat.end(), {span.time.begin - before, span.time.length(), span.kind});
        before = span.time.begin;
    }
    return {{"id", camera.clip_id},
            {"names", camera.names},
            {"begin", spans.empty() ? Json() : Json(spans.front().time.begin)},
            {"spans", flat},
            {"gaps", gaps_json(camera.gaps)}};
}

StillCamera PageData::still_camera(const CameraCoverage& camera,
                                   const std::vector<std::size_t>& recordings) const {
    StillCamera result;
    for (const std::size_t number : recordings) {
        const PageRecording& one = *recordings_[number];
        if (!one.shown || one.facts.spans.empty()) continue;
        result.recordings.push_back({.path = one.row.at(0).get<std::string>(),
                                     .time = {one.facts.spans.front().first, one.facts.spans.back().last},
                                     .faulty = one.facts.faulty});
    }
    result.wanted = wanted_stills(camera.recorded, options_.stills->every);
    return result;
}

std::pair<Json, Json> PageData::files_json(const CameraNumbers& cameras,
                                           const std::set<std::size_t>& outliers) const {
    Json files = Json::array();
    Json outlier_files = Json::array();
    for (std::size_t number = 0; number < recordings_.size(); ++number) {
        if (!recordings_[number]->shown) continue;
        if (outliers.contains(number)) outlier_files.push_back(files.size());
        Json row = recordings_[number]->row;
        const auto camera = cameras.find(number);
        row.push_back(camera == cameras.end() ? Json() : Json(camera->second));
        row.push_back(files.size() < kMaxCurves ? recordings_[number]->curve : Json());
        if (!recordings_[number]->local_start.is_null()) row.push_back(recordings_[number]->local_start);
        files.push_back(std::move(row));
    }
    return {files, outlier_files};
}

Json PageData::stills_of_all(const std::vector<StillCamera>& still_cameras, Json& cameras) const {
    if (!options_.stills) return Json::array();
    const Stills stills = stills_of(still_cameras, *options_.stills, options_.jobs);
    for (std::size_t i = 0; i < stills.cameras.size(); ++i)
        cameras[i]["stills"] = stills_json(stills.cameras[i]);
    return stills.notes;
}

Json PageData::document() const {
    std::vector<RecordingFacts> facts;
    facts.reserve(recordings_.size());
    for (const auto& one : recordings_) facts.push_back(one->facts);
    const std::set<std::size_t> outliers = outliers_of(facts, options_.now);
    std::vector<std::size_t> numbers;  // of the recordings that count
    for (std::size_t i = 0; i < recordings_.size(); ++i) {
        if (outliers.contains(i)) continue;
        if (numbers.size() < i) facts[numbers.size()] = std::move(facts[i]);
        numbers.push_back(i);
    }
    facts.resize(numbers.size());

    const Interval all = extent(facts);
    const Coverage coverage = coverage_of(facts, {all.begin, all.end});
    CameraNumbers camera_numbers;
    Json cameras = Json::array();
    std::vector<StillCamera> still_cameras;
    for (const CameraCoverage& camera : coverage.cameras) {
        if (!has_frames(camera)) continue;
        std::vector<std::size_t> own;
        for (const RecordingFacts* one : camera.recordings)
            own.push_back(numbers[static_cast<std::size_t>(one - facts.data())]);
        for (const std::size_t number : own) camera_numbers[number] = cameras.size();
        cameras.push_back(camera_json(camera, own));
        cameras.back()["sharesIdWith"] = names_sharing_id(coverage, camera);
        if (options_.stills) still_cameras.push_back(still_camera(camera, own));
    }
    const Json notes = stills_of_all(still_cameras, cameras);
    const auto [files, outlier_files] = files_json(camera_numbers, outliers);
    return {{"now", options_.now},
            {"watched", options_.watched},
            {"zone", offsets_json(offsets(all, numbers))},
            {"minimumGap", options_.minimum_gap},
            {"period", options_.period},
            {"from", nullable(options_.limits.from)},
            {"to", nullable(options_.limits.to)},
            {"extent", {all.begin, all.end}},
            {"newest", extent_of(facts).value_or(all).end},
            {"notes", notes},
            {"cameras", cameras},
            {"files", files},
            {"outliers", outlier_files},
            {"parts", parts_ ? parts_json(*parts_) : Json()}};
}

}  // namespace ps_tool
