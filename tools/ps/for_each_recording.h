#pragma once

#include <fmt/format.h>

#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "tools/cli/jobs.h"
#include "tools/cli/progress_bar.h"
#include "tools/cli/recording_paths.h"
#include "tools/ps/command.h"
#include "tools/reader/recording.h"

namespace ps_tool {

/// False if the recording's frames are all outside the range. True if their times cannot be read, so that a
/// faulty recording is not passed over.
[[nodiscard]] bool may_overlap(reader::Recording& recording, const TimeRange& range);

/// Opens the recordings below the given paths that have frames in the time range, and calls `work` for each,
/// several at once, then `deliver` with the results in the order of the paths. A recording that cannot be
/// opened is added to the unusable inputs instead. Shows the progress on standard error.
template <typename Result>
void for_each_recording(const Options& options, cli::UnusableInputs& unusable,
                        const std::function<Result(reader::Recording&)>& work,
                        const std::function<void(const std::string& path, Result)>& deliver) {
    const std::vector<std::string> paths = cli::recording_paths(options.paths, unusable);
    cli::ProgressBar bar(stderr);
    struct NotInRange {};
    using Opened = std::variant<NotInRange, Result, reader::CannotOpen>;
    const auto open_and_work = [&](std::size_t i) -> Opened {
        try {
            reader::Recording recording(paths[i]);
            if (!may_overlap(recording, options.range)) return NotInRange{};
            return work(recording);
        } catch (const reader::CannotOpen& error) {
            return error;
        }
    };
    const auto deliver_and_show = [&](std::size_t i, Opened opened) {
        bar.clear();
        if (auto* const result = std::get_if<Result>(&opened))
            deliver(paths[i], std::move(*result));
        else if (const auto* const error = std::get_if<reader::CannotOpen>(&opened))
            unusable.add(error->path(), error->reason());
        bar.show(fmt::format("{} of {}", i + 1, paths.size()),
                 static_cast<double>(i + 1) / static_cast<double>(paths.size()));
    };
    cli::run_in_order<Opened>(paths.size(), options.jobs, open_and_work, deliver_and_show);
    bar.clear();
}

}  // namespace ps_tool
