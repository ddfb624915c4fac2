#include "tools/ps/coverage/metrics_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <set>
#include <vector>

#include "tools/cli/json_list.h"

namespace ps_tool {
namespace {

using cli::Json;
using Value = std::optional<double>;

/// A camera and its labels. A camera that only the state file has is without recordings.
struct CameraRow {
    std::string labels;
    const CameraCoverage* coverage = nullptr;
    PendingWork pending;
};

struct CameraMetric {
    const char* name;
    const char* help;
    std::function<Value(const CameraCoverage&)> value;
};

double metric_seconds(std::int64_t milliseconds) {
    constexpr double kMsInSecond = 1000;
    return static_cast<double>(milliseconds) / kMsInSecond;
}

/// Replaces bytes that are not UTF-8, and escapes what would end the label value.
std::string label_value(const std::string& text) {
    const std::string valid = Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace));
    std::string out;
    for (const char c : valid) {
        if (c == '\\' || c == '"') out += '\\';
        out += c == '\n' ? std::string("\\n") : std::string(1, c);
    }
    return out;
}

/// The names of two cameras may be equal once their invalid bytes are replaced.
std::string unique_labels(const std::string& clip_id, const std::string& name, std::set<std::string>& used) {
    for (unsigned number = 1;; ++number) {
        const std::string suffix = number == 1 ? "" : fmt::format(" ({})", number);
        std::string labels =
            fmt::format(R"(camera="{}",name="{}{}")", label_value(clip_id), label_value(name), suffix);
        if (used.insert(labels).second) return labels;
    }
}

std::vector<CameraRow> camera_rows(const MetricsInput& input) {
    std::map<std::string, PendingWork> pending = input.pending.value_or(std::map<std::string, PendingWork>{});
    std::set<std::string> used;
    std::vector<CameraRow> rows;
    for (const CameraCoverage& camera : input.coverage.cameras) {
        CameraRow row{unique_labels(camera.clip_id, camera.names.empty() ? "" : camera.names.back(), used),
                      &camera,
                      {}};
        const auto work = pending.find(camera.clip_id);
        if (work != pending.end()) {
            row.pending = work->second;
            pending.erase(work);  // cameras that share a clip id: the first one gets the work
        }
        rows.push_back(std::move(row));
    }
    for (const auto& [clip_id, work] : pending)
        rows.push_back({unique_labels(clip_id, "", used), nullptr, work});
    std::ranges::sort(rows, {}, &CameraRow::labels);
    return rows;
}

std::optional<Interval> frames_extent(const CameraCoverage& camera) {
    std::optional<Interval> extent;  // from the first to the last frame
    for (const RecordingFacts* one : camera.recordings) {
        for (const FrameSpan& span : one->spans) {
            if (!extent) extent = Interval{span.first, span.last};
            extent->begin = std::min(extent->begin, span.first);
            extent->end = std::max(extent->end, span.last);
        }
    }
    return extent;
}

double bytes_of(const CameraCoverage& camera) {
    double sum = 0;
    for (const RecordingFacts* one : camera.recordings) sum += static_cast<double>(one->bytes);
    return sum;
}

Value bytes_a_day(const CameraCoverage& camera) {
    const auto extent = frames_extent(camera);
    if (!extent || extent->length() == 0) return std::nullopt;
    return bytes_of(camera) * static_cast<double>(kDay) / static_cast<double>(extent->length());
}

double count_of(const CameraCoverage& camera, bool RecordingFacts::*property) {
    return static_cast<double>(
        std::ranges::count_if(camera.recordings, [=](const RecordingFacts* one) { return one->*property; }));
}

/// All recordings whose path has a clip id are the module's.
std::int64_t recovered_time(const CameraCoverage& camera) {
    return camera.clip_id.empty() ? 0 : total_length(camera.recorded);
}

std::vector<CameraMetric> camera_metrics(const Interval& period, std::int64_t minimum_gap) {
    using Camera = CameraCoverage;
    return {
        {"coverage_ratio", "Recorded part of the window, 0 to 1.",
         [=](const Camera& camera) { return camera.ratio(period); }},
        {"recorded_seconds", "Recorded time in the window.",
         [](const Camera& camera) { return metric_seconds(total_length(camera.recorded)); }},
        {"recovered_seconds", "Time in the window in recordings that the module wrote.",
         [](const Camera& camera) { return metric_seconds(recovered_time(camera)); }},
        {"missing_seconds", "Time in the window without a recording.",
         [](const Camera& camera) { return metric_seconds(camera.missing()); }},
        {"gaps", "Gaps in the window that are at least norvanepi_minimum_gap_seconds long.",
         [=](const Camera& camera) { return static_cast<double>(camera.gaps_of(minimum_gap).size()); }},
        {"largest_gap_seconds", "Length of the longest gap in the window.",
         [](const Camera& camera) { return metric_seconds(camera.largest_gap()); }},
        {"current_gap_seconds", "Length of the gap at the end of the window, 0 without one.",
         [=](const Camera& camera) { return metric_seconds(camera.current_gap(period)); }},
        {"oldest_frame_timestamp_seconds", "Time of the oldest frame, in seconds since 1970.",
         [](const Camera& camera) {
             const auto extent = frames_extent(camera);
             return extent ? Value(metric_seconds(extent->begin)) : std::nullopt;
         }},
        {"newest_frame_timestamp_seconds", "Time of the newest frame, in seconds since 1970.",
         [](const Camera& camera) {
             const auto extent = frames_extent(camera);
             return extent ? Value(metric_seconds(extent->end)) : std::nullopt;
         }},
        {"recordings", "Recordings of any time.",
         [](const Camera& camera) { return static_cast<double>(camera.recordings.size()); }},
        {"recording_bytes", "Size of the recordings of any time with their indexes.", bytes_of},
        {"recording_bytes_per_day", "Average size of a day, from the oldest to the newest frame.",
         bytes_a_day},
        {"faulty_recordings", "Recordings of any time with faults.",
         [](const Camera& camera) { return count_of(camera, &RecordingFacts::faulty); }},
        {"repairable_recordings", "Recordings of any time with faults that repair removes.",
         [](const Camera& camera) { return count_of(camera, &RecordingFacts::repairable); }},
    };
}

class MetricsWriter {
  public:
    void begin(std::string_view name, std::string_view help) {
        name_ = name;
        text_ += fmt::format("# HELP norvanepi_{0} {1}\n# TYPE norvanepi_{0} gauge\n", name, help);
    }
    void sample(const std::string& labels, double value) {
        text_ += labels.empty() ? fmt::format("norvanepi_{} {}\n", name_, value)
                                : fmt::format("norvanepi_{}{{{}}} {}\n", name_, labels, value);
    }
    void single(std::string_view name, std::string_view help, double value) {
        begin(name, help);
        sample("", value);
    }
    [[nodiscard]] std::string finish() { return std::move(text_) + "# EOF\n"; }

  private:
    std::string name_;
    std::string text_;
};

void write_pending(const std::vector<CameraRow>& rows, MetricsWriter& out) {
    const auto family = [&](const char* name, const char* help, std::uint64_t PendingWork::*count) {
        out.begin(name, help);
        for (const CameraRow& row : rows) out.sample(row.labels, static_cast<double>(row.pending.*count));
    };
    family("open_gaps", "Gaps that have not ended, in the state file.", &PendingWork::open_gaps);
    family("open_operations", "Operations that have not failed, in the state file.",
           &PendingWork::operations);
    family("failed_operations", "Operations that have failed, in the state file.",
           &PendingWork::failed_operations);
}

}  // namespace

std::string metrics_text(const MetricsInput& input) {
    const std::vector<CameraRow> rows = camera_rows(input);
    MetricsWriter out;
    for (const CameraMetric& metric : camera_metrics(input.coverage.period, input.minimum_gap)) {
        out.begin(metric.name, metric.help);
        for (const CameraRow& row : rows) {
            const Value value = row.coverage == nullptr ? std::nullopt : metric.value(*row.coverage);
            if (value) out.sample(row.labels, *value);
        }
    }
    if (input.pending) {
        write_pending(rows, out);
        out.single("state_file_faulty", "1 if the state file is damaged.", input.state_fault ? 1 : 0);
    }
    out.single("unreadable_inputs", "Recordings, directories and state files that cannot be read.",
               static_cast<double>(input.unreadable));
    out.single("window_seconds", "Length of the window.", metric_seconds(input.coverage.period.length()));
    out.single("minimum_gap_seconds", "Length from which a gap is counted.",
               metric_seconds(input.minimum_gap));
    out.single("check_duration_seconds", "Duration of the check.", input.duration);
    out.single("check_timestamp_seconds", "When the check ended, in seconds since 1970.",
               metric_seconds(input.checked));
    return out.finish();
}

}  // namespace ps_tool
