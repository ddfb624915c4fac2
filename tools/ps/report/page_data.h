#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/cli/json_list.h"
#include "tools/ps/coverage/coverage.h"
#include "tools/ps/report/local_time.h"
#include "tools/ps/report/lost_time.h"
#include "tools/ps/report/stills.h"
#include "tools/ps/time_argument.h"

namespace ps_tool {

/// What the page shows of the recordings.
struct PageOptions {
    std::int64_t now = 0;          // ms since 1970
    std::int64_t minimum_gap = 0;  // ms; shorter gaps are not listed
    std::string period = "day";    // day, week or month: the page opens with the last complete one
    PeriodLimits limits = {};      // with a limit, the page shows that period and no other
    std::optional<Zone> zone = {};
    bool watched = false;  // the page is rewritten, so it looks for newer data
    std::optional<StillLimits> stills = {};
    unsigned jobs = 1;  // recordings to decode at once
};

/// A recording as the page shows it.
struct PageRecording {
    struct KindSpan {
        Interval time;
        std::uint8_t kind = 0;
    };

    RecordingFacts facts;
    bool shown = true;  // false if no frame is in the period; then only its camera is shown
    std::vector<KindSpan> spans = {};
    cli::Json row = {};
    cli::Json local_start = {};  // without a frame, the local time in the path in ms since 1970, or null
    cli::Json curve = {};
    std::optional<ZoneOffset> offset = {};  // what the path and the first frame tell about the zone
};

/// Converts the form of `verify --json`. Throws std::runtime_error if the JSON has another form.
[[nodiscard]] PageRecording page_recording(const cli::Json& recording);

/// Collects recordings and converts them to the compact JSON document that tools/ps/report/page/data.js
/// reads.
class PageData {
  public:
    explicit PageData(PageOptions options) : options_(std::move(options)) {}

    void add(std::shared_ptr<const PageRecording> recording);
    /// Adds what a log tells about lost time. Call it after the last add().
    void account_for(const std::vector<LostTime>& lost);

    [[nodiscard]] cli::Json document() const;
    [[nodiscard]] std::size_t files() const { return files_; }
    [[nodiscard]] std::size_t faulty_files() const { return faulty_files_; }

  private:
    /// The camera of each recording, by the recording's number. Outliers and recordings of a clip id without
    /// any frame have none.
    using CameraNumbers = std::map<std::size_t, std::size_t>;

    [[nodiscard]] StillCamera still_camera(const CameraCoverage& camera,
                                           const std::vector<std::size_t>& recordings) const;
    /// Adds the pictures to the cameras and returns notes about them.
    [[nodiscard]] cli::Json stills_of_all(const std::vector<StillCamera>& still_cameras,
                                          cli::Json& cameras) const;
    [[nodiscard]] Interval extent(const std::vector<RecordingFacts>& recordings) const;
    [[nodiscard]] std::vector<ZoneOffset> offsets(const Interval& extent,
                                                  const std::vector<std::size_t>& recordings) const;
    [[nodiscard]] cli::Json camera_json(const CameraCoverage& camera,
                                        const std::vector<std::size_t>& recordings) const;
    /// The rows of the files, and the numbers of those that are outliers.
    [[nodiscard]] std::pair<cli::Json, cli::Json> files_json(const CameraNumbers& cameras,
                                                             const std::set<std::size_t>& outliers) const;

    PageOptions options_;
    std::vector<std::shared_ptr<const PageRecording>> recordings_;
    std::size_t files_ = 0;
    std::size_t faulty_files_ = 0;
    std::optional<std::vector<GapPart>> parts_;  // nothing without a log
};

}  // namespace ps_tool
