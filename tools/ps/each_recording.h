#pragma once

#include <fmt/format.h>

#include <functional>
#include <string>
#include <vector>

#include "tools/cli/exit_status.h"
#include "tools/cli/jobs.h"
#include "tools/cli/progress_bar.h"
#include "tools/cli/recording_paths.h"
#include "tools/ps/common_options.h"
#include "tools/reader/recording.h"

namespace ps_tool {

/// Opens each recording that the paths stand for, several at once, works on it, and hands the results on in
/// the order of the paths. A bar on standard error shows how far it is.
template <typename Result>
void each_recording(const CommonOptions& options, const std::function<Result(reader::Recording&)>& work,
                    const std::function<void(const std::string& path, Result)>& deliver) {
    const std::vector<std::string> paths = cli::recording_paths(options.paths);
    cli::ProgressBar bar(stderr);
    const auto work_on = [&](std::size_t i) {
        try {
            reader::Recording recording(paths[i]);
            return work(recording);
        } catch (const reader::CannotOpen& error) {
            throw cli::CannotRun(error.what());
        }
    };
    const auto hand_on = [&](std::size_t i, Result result) {
        bar.clear();
        deliver(paths[i], std::move(result));
        bar.show(fmt::format("{} of {}", i + 1, paths.size()),
                 static_cast<double>(i + 1) / static_cast<double>(paths.size()));
    };
    cli::OrderedJobs<Result>::run(paths.size(), options.jobs, work_on, hand_on);
    bar.clear();
}

}  // namespace ps_tool
