#include "tools/ps/report/page_data.h"

#include <algorithm>
#include <stdexcept>

#include "ps/index_layout.h"
#include "tools/reader/packet_time.h"

namespace ps_tool {
namespace {

using cli::Json;

constexpr std::size_t kMaxCurves = 20'000;  // a browser cannot open a page with more
constexpr std::size_t kMaxGaps = 10;
constexpr std::int64_t kMsPerSecond = 1000;

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

Json reasons_json(const std::map<std::string, std::int64_t>& by_reason) {
    Json parts = Json::array();
    for (const auto& [reason, length] : by_reason) parts.push_back({reason, length});
    return parts;
}

/// What happened to a camera's lost time, in ms.
struct Account {
    std::int64_t lost = 0;
    std::int64_t recovered = 0;
    std::int64_t not_on_camera = 0;
    std::map<std::string, std::int64_t> refused;  // by reason
    std::map<std::string, std::int64_t> failed;   // or open
};

void add(const GapPart& part, Account& account) {
    const std::int64_t length = part.time.length();
    account.lost += length;
    switch (part.outcome) {
        case Outcome::kRecovered:
            account.recovered += length;
            break;
        case Outcome::kNotOnCamera:
            account.not_on_camera += length;
            break;
        case Outcome::kRefused:
            account.refused[part.reason] += length;
            break;
        case Outcome::kFailed:
        case Outcome::kOpen:
            account.failed[part.reason] += length;
            break;
    }
}

Json json_of(const Account& account) {
    return {{"lost", account.lost},
            {"recovered", account.recovered},
            {"notOnCamera", account.not_on_camera},
            {"refused", reasons_json(account.refused)},
            {"failed", reasons_json(account.failed)}};
}

}  // namespace

void PageData::add(const Json& recording) {
    const Json& streams = recording.at("streams");
    const std::string id =
        recording.at("clip_id").is_null() ? "" : recording.at("clip_id").get<std::string>();
    const CameraKey camera(id, streams.empty() ? "" : streams.at(0).at("name").get<std::string>());
    std::vector<Span>& spans = cameras_[camera];
    for (const Json& span : recording.at("spans")) {
        if (span.at("first").is_null() || span.at("last").is_null()) continue;
        spans.push_back({{instant_of(span.at("first")), instant_of(span.at("last"))},
                         span.at("kind").get<std::uint8_t>()});
    }
    const Json& faults = recording.at("faults");
    const auto fault_count = recording.at("fault_count").get<std::uint64_t>();
    if (fault_count > 0) ++faulty_files_;
    const Json row = {recording.at("path"),
                      instant_or_null(recording.at("first")),
                      instant_or_null(recording.at("last")),
                      recording.at("frames"),
                      recording.at("key_frames"),
                      recording.at("bytes"),
                      fault_count,
                      recording.at("mendable"),
                      faults.empty() ? Json("") : faults.at(0).at("text")};
    const bool curve = files_.size() < kMaxCurves && recording.contains("curve");
    files_.push_back({camera, row, curve ? recording.at("curve") : Json()});
}

void PageData::account_for(const std::vector<LostTime>& lost) {
    std::map<std::string, Intervals> covered;
    for (const auto& [camera, spans] : cameras_) {
        for (const Span& span : spans) covered[camera.first].push_back(span.time);
    }
    for (auto& [id, intervals] : covered) intervals = round_to_seconds(intervals);
    parts_ = outcomes_of(lost, covered);
}

/// The names of other streams with the same id. Such cameras overwrite each other's recordings.
Json PageData::names_sharing_id(const CameraKey& key) const {
    Json names = Json::array();
    if (key.first.empty()) return names;
    for (auto at = cameras_.lower_bound({key.first, ""});
         at != cameras_.end() && at->first.first == key.first; ++at) {
        if (at->first != key) names.push_back(at->first.second);
    }
    return names;
}

/// Encodes a span as three numbers: its begin relative to the previous begin, its length and its kind.
Json PageData::camera_json(const CameraKey& key, std::vector<Span> spans) const {
    std::ranges::sort(spans, {}, [](const Span& span) { return std::pair(span.time.begin, span.time.end); });
    Json flat = Json::array();
    Intervals times;
    std::int64_t before = spans.empty() ? 0 : spans.front().time.begin;
    for (const Span& span : spans) {
        flat.insert(flat.end(), {span.time.begin - before, span.time.length(), span.kind});
        before = span.time.begin;
        times.push_back({span.time.begin, span.time.end + 1});
    }
    const Intervals covered = merge(std::move(times), kSpanGap);
    Json days = Json::array();
    for (const auto& [day, length] : covered_by_day(covered)) days.push_back({day, length});
    Json gaps = Json::array();
    for (const Interval& gap : longest_gaps(covered, kMaxGaps)) gaps.push_back({gap.begin, gap.length()});
    return {{"id", key.first},
            {"name", key.second},
            {"sharesIdWith", names_sharing_id(key)},
            {"begin", spans.empty() ? Json() : Json(spans.front().time.begin)},
            {"covered", total_length(covered)},
            {"spans", flat},
            {"days", days},
            {"gaps", gaps}};
}

Json PageData::document() const {
    Json cameras = Json::array();
    std::map<CameraKey, std::size_t> camera_numbers;
    for (const auto& [key, spans] : cameras_) {
        camera_numbers[key] = cameras.size();
        cameras.push_back(camera_json(key, spans));
    }
    Json files = Json::array();
    for (const File& file : files_) {
        Json row = file.row;
        row.push_back(camera_numbers.at(file.camera));
        row.push_back(file.curve);
        files.push_back(std::move(row));
    }
    std::map<std::string, Account> by_camera;
    for (const GapPart& part : parts_) ps_tool::add(part, by_camera[part.clip_id]);
    Json accounts = Json::array();
    for (const auto& [id, account] : by_camera) {
        Json one = json_of(account);
        one["id"] = id;
        accounts.push_back(std::move(one));
    }
    return {{"cameras", cameras}, {"files", files}, {"accounts", accounts}};
}

}  // namespace ps_tool
