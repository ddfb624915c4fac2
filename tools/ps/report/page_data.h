#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/cli/json_list.h"
#include "tools/ps/coverage/coverage.h"
#include "tools/ps/report/local_time.h"
#include "tools/ps/report/transcript.h"
#include "tools/ps/time_argument.h"

namespace ps_tool {

/// What the page shows of the recordings.
struct PageOptions {
    std::int64_t now = 0;          // ms since 1970
    std::int64_t minimum_gap = 0;  // ms; shorter gaps are not listed
    std::string period = "day";    // day, week or month: the page opens with the last complete one
    PeriodLimits limits = {};      // with a limit, the page shows that period and no other
    std::optional<Zone> zone = {};
};

/// Collects recordings in the form of `verify --json` and converts them to the compact JSON document that
/// tools/ps/report/page/data.js reads.
class PageData {
  public:
    explicit PageData(PageOptions options) : options_(std::move(options)) {}

    /// Throws std::runtime_error if the JSON has another form.
    void add(const cli::Json& recording);
    /// Adds a recording without frames in the period. Only its camera is shown.
    void add_outside(const RecordingFacts& facts);
    /// Adds an account of each camera's lost time. Call it after the last add().
    void account_for(const std::vector<LostTime>& lost);

    [[nodiscard]] cli::Json document() const;
    [[nodiscard]] std::size_t files() const { return files_.size(); }
    [[nodiscard]] std::size_t faulty_files() const { return faulty_files_; }

  private:
    struct KindSpan {
        Interval time;
        std::uint8_t kind = 0;
    };
    struct File {
        std::size_t number = 0;  // of its facts
        std::vector<KindSpan> spans;
        cli::Json row;
        cli::Json curve;
    };
    /// The camera of each recording, by the number of its facts. Outliers and recordings of a clip id without
    /// any frame have none.
    using CameraNumbers = std::map<std::size_t, std::size_t>;

    [[nodiscard]] Interval extent(const std::vector<RecordingFacts>& recordings) const;
    [[nodiscard]] std::vector<ZoneOffset> offsets(const Interval& extent) const;
    [[nodiscard]] cli::Json camera_json(const CameraCoverage& camera, std::vector<KindSpan> spans) const;
    [[nodiscard]] cli::Json files_json(const CameraNumbers& cameras) const;

    PageOptions options_;
    std::vector<RecordingFacts> facts_;
    std::vector<File> files_;
    std::vector<ZoneOffset> offsets_seen_;
    std::size_t faulty_files_ = 0;
    std::map<std::string, Account> accounts_;
};

}  // namespace ps_tool
