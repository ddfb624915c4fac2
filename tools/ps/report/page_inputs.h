#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/cli/unusable_inputs.h"
#include "tools/ps/command.h"
#include "tools/ps/coverage/facts_cache.h"
#include "tools/ps/report/page_data.h"
#include "tools/reader/recording.h"

namespace ps_tool {

/// The recordings below the paths of the command line. What was read once is read again only if its files
/// have changed.
class PageInputs {
  public:
    explicit PageInputs(const Options& options) : options_(options) {}

    /// Reads what is new or has changed. False if nothing has, and nothing was removed. A recording that
    /// cannot be opened is reported once, until it changes.
    bool update(cli::UnusableInputs& unusable);

    void add_to(PageData& data) const;

  private:
    struct Known {
        FileStamp stamp;
        std::shared_ptr<const PageRecording> recording;  // null if it cannot be opened
    };
    struct Opened {
        Known known;
        std::optional<reader::CannotOpen> error;
        bool changed = false;
    };

    [[nodiscard]] Opened open(const std::string& path) const;

    const Options& options_;
    std::map<std::string, Known> known_;  // by path
};

}  // namespace ps_tool
