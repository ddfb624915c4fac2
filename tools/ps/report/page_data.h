#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/cli/json_list.h"
#include "tools/ps/coverage/timeline.h"
#include "tools/ps/report/lost_time.h"

namespace ps_tool {

/// Collects recordings in the form of `verify --json` and converts them to the compact JSON document that
/// tools/ps/report/page/data.js reads.
class PageData {
  public:
    /// Throws std::runtime_error if the JSON has another form.
    void add(const cli::Json& recording);
    /// Adds an account of each camera's lost time. Call it after the last add().
    void account_for(const std::vector<LostTime>& lost);

    [[nodiscard]] cli::Json document() const;
    [[nodiscard]] std::size_t files() const { return files_.size(); }
    [[nodiscard]] std::size_t faulty_files() const { return faulty_files_; }

  private:
    /// Clip id and stream name.
    using CameraKey = std::pair<std::string, std::string>;
    struct Span {
        Interval time;
        std::uint8_t kind = 0;
    };
    struct File {
        CameraKey camera;
        cli::Json row;
        cli::Json curve;
    };

    [[nodiscard]] cli::Json camera_json(const CameraKey& key, std::vector<Span> spans) const;
    [[nodiscard]] cli::Json names_sharing_id(const CameraKey& key) const;

    std::map<CameraKey, std::vector<Span>> cameras_;
    std::vector<File> files_;
    std::size_t faulty_files_ = 0;
    std::vector<GapPart> parts_;
};

}  // namespace ps_tool
