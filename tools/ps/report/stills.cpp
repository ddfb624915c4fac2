#include "tools/ps/report/stills.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

#include "tools/cli/base64.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/jobs.h"
#include "tools/cli/progress_bar.h"
#include "tools/ps/command.h"
#include "tools/ps/report/key_frames.h"

namespace ps_tool {
namespace {

/// The stills that one recording has to provide.
struct StillTask {
    std::size_t camera = 0;
    StillRecording recording;
    std::vector<WantedStill> wanted;
};

/// The key frames of a recording as pictures, or why there are none.
struct TaskResult {
    struct One {
        std::int64_t time = 0;
        unsigned kept_until = 0;
        StillImages images;
        std::string obstacle;
    };
    std::vector<One> stills;
};

/// The task whose recording is the last to begin up to the instant. For a still after a gap, not one that
/// ends before.
StillTask& task_of(std::vector<StillTask>& by_begin, const WantedStill& still) {
    auto next = std::ranges::upper_bound(by_begin, still.instant, {},
                                         [](const StillTask& task) { return task.recording.time.begin; });
    if (next == by_begin.begin()) return *next;
    StillTask& last = *std::prev(next);
    const bool ends_before = still.side == WantedStill::Side::kAtOrAfter &&
                             last.recording.time.end < still.instant && next != by_begin.end();
    return ends_before ? *next : last;
}

std::vector<StillTask> tasks_of(const std::vector<StillCamera>& cameras) {
    std::vector<StillTask> tasks;
    for (std::size_t camera = 0; camera < cameras.size(); ++camera) {
        std::vector<StillTask> by_begin;
        for (const StillRecording& recording : cameras[camera].recordings)
            by_begin.push_back({camera, recording, {}});
        if (by_begin.empty()) continue;
        std::ranges::sort(by_begin, {}, [](const StillTask& task) {
            return std::tie(task.recording.time.begin, task.recording.time.end, task.recording.path);
        });
        for (const WantedStill& still : cameras[camera].wanted)
            task_of(by_begin, still).wanted.push_back(still);
        std::erase_if(by_begin, [](const StillTask& task) { return task.wanted.empty(); });
        std::ranges::move(by_begin, std::back_inserter(tasks));
    }
    return tasks;
}

/// What a recording without key frames has instead of all its stills.
TaskResult without_pictures(const StillTask& task, const std::string& obstacle) {
    unsigned kept_until = 0;
    for (const WantedStill& still : task.wanted) kept_until = std::max(kept_until, thinning_step_of(still));
    return {{{task.wanted.front().instant, kept_until, {}, obstacle}}};
}

TaskResult read_stills(const StillTask& task, const MakeStillCodec& make_codec, const StillBudget& budget) {
    try {
        reader::Recording recording(task.recording.path);
        const ChosenKeyFrames chosen = choose_key_frames(recording, task.recording.faulty, task.wanted);
        if (chosen.frames.empty()) return without_pictures(task, "no key frames in the recording");
        const auto codec = make_codec();
        TaskResult result;
        for (const ChosenKeyFrame& frame : chosen.frames) {
            if (!budget.keeps(frame.kept_until)) continue;
            TaskResult::One& still = result.stills.emplace_back();
            still.time = frame.time;
            still.kept_until = frame.kept_until;
            try {
                const auto stream = decodable_stream(recording, frame, chosen.sets);
                still.images = codec->images(stream, budget.rung());
            } catch (const StillObstacle& obstacle) {
                still.obstacle = obstacle.what();
            }
        }
        return result;
    } catch (const reader::CannotOpen& error) {
        return without_pictures(task, "the recording cannot be opened: " + error.reason());
    }
}

void add_all(TaskResult result, std::size_t camera, StillBudget& budget) {
    for (TaskResult::One& still : result.stills) {
        if (still.obstacle.empty())
            budget.add(camera, still.time, still.kept_until, std::move(still.images));
        else
            budget.add_obstacle(camera, still.time, still.kept_until, still.obstacle);
    }
}

}  // namespace

Stills stills_of(const std::vector<StillCamera>& cameras, const StillLimits& limits, unsigned jobs,
                 const std::function<MakeStillCodec()>& load_codec) {
    Stills stills;
    StillBudget budget(cameras.size(), limits);
    try {
        const MakeStillCodec make_codec = load_codec();
        const std::vector<StillTask> tasks = tasks_of(cameras);
        cli::ProgressBar bar(stderr);
        cli::run_in_order<TaskResult>(
            tasks.size(), jobs, [&](std::size_t i) { return read_stills(tasks[i], make_codec, budget); },
            [&](std::size_t i, TaskResult result) {
                add_all(std::move(result), tasks[i].camera, budget);
                bar.show("pictures", static_cast<double>(i + 1) / static_cast<double>(tasks.size()));
            });
        bar.clear();
        if (const std::string text = budget.reduction(); !text.empty()) stills.notes.push_back(text);
    } catch (const cli::CannotRun& error) {
        stills.notes.push_back(std::string("no pictures: ") + error.what());
    }
    stills.cameras = budget.stills();
    for (const std::string& note : stills.notes) cli::print_message(fmt::format("{}: {}", kProgram, note));
    return stills;
}

cli::Json stills_json(const std::vector<Still>& stills) {
    cli::Json list = cli::Json::array();
    for (const Still& still : stills) {
        cli::Json& one = list.emplace_back(cli::Json{still.time, cli::base64(still.jpeg)});
        if (!still.obstacle.empty()) one.push_back(still.obstacle);
    }
    return list;
}

}  // namespace ps_tool
