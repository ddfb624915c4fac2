#pragma once

#include <fmt/format.h>

#include <functional>
#include <string>
#include <vector>

#include "tools/cli/exit_status.h"
#include "tools/cli/jobs.h"
#include "tools/cli/progress_bar.h"
#include "tools/cli/recording_paths.h"
#include "tools/ps/command.h"
#include "tools/reader/recording.h"

namespace ps_tool {

/// Opens the recordings below the given paths and calls `work` for each, several at once, then `deliver` with
/// the results in the order of the paths. Shows the progress on standard error.
template <typename Result>
void for_each_recording(const Options& options, const std::function<Result(reader::Recording&)>& work,
                        const std::function<void(const std::string& path, Result)>& deliver) {
    const std::vector<std::string> paths = cli::recording_paths(options.paths);
    cli::ProgressBar bar(stderr);
    const auto open_and_work = [&](std::size_t i) {
        try {
            reader::Recording recording(paths[i]);
            return work(recording);
        } catch (const reader::CannotOpen& error) {
            throw cli::CannotRun(error.what());
        }
    };
    const auto deliver_and_show = [&](std::size_t i, Result result) {
        bar.clear();
        deliver(paths[i], std::move(result));
        bar.show(fmt::format("{} of {}", i + 1, paths.size()),
                 static_cast<double>(i + 1) / static_cast<double>(paths.size()));
    };
    cli::run_in_order<Result>(paths.size(), options.jobs, open_and_work, deliver_and_show);
    bar.clear();
}

}  // namespace ps_tool
