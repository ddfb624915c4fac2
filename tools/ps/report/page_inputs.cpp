#include "tools/ps/report/page_inputs.h"

#include <fmt/format.h>

#include "tools/cli/jobs.h"
#include "tools/cli/progress_bar.h"
#include "tools/cli/recording_paths.h"
#include "tools/ps/coverage/recording_facts.h"
#include "tools/ps/for_each_recording.h"
#include "tools/ps/recording_json.h"

namespace ps_tool {
namespace {

PageRecording read_for_page(reader::Recording& recording, const TimeRange& period) {
    reader::Curve curve;
    FactsBuilder facts;
    const reader::Report report =
        reader::verify(recording, reader::VerifyDepth::kHeaders, [&](const reader::Packet& packet) {
            curve.add(packet);
            facts.add(packet);
        });
    RecordingFacts all = facts.facts(report);
    if (!may_overlap(recording, period)) return {.facts = std::move(all), .shown = false};
    return page_recording(json_of(report, curve, all.spans));
}

}  // namespace

PageInputs::Opened PageInputs::open(const std::string& path) const {
    Opened opened;
    opened.known.stamp = stamp_of(path);  // before reading, so that a later change is noticed next time
    const auto before = known_.find(path);
    if (before != known_.end() && before->second.stamp == opened.known.stamp) {
        opened.known = before->second;
        return opened;
    }
    opened.changed = true;
    try {
        reader::Recording recording(path);
        opened.known.recording =
            std::make_shared<const PageRecording>(read_for_page(recording, options_.range));
    } catch (const reader::CannotOpen& error) {
        opened.error = error;
    }
    return opened;
}

bool PageInputs::update(cli::UnusableInputs& unusable) {
    const std::vector<std::string> paths = cli::recording_paths(options_.paths, unusable);
    std::map<std::string, Known> found;
    bool changed = false;
    cli::ProgressBar bar(stderr);
    cli::run_in_order<Opened>(
        paths.size(), options_.jobs, [&](std::size_t i) { return open(paths[i]); },
        [&](std::size_t i, Opened opened) {
            if (opened.error) {
                bar.clear();
                unusable.add(opened.error->path(), opened.error->reason());
            }
            changed |= opened.changed;
            if (opened.changed)
                bar.show(fmt::format("{} of {}", i + 1, paths.size()),
                         static_cast<double>(i + 1) / static_cast<double>(paths.size()));
            found.emplace(paths[i], std::move(opened.known));
        });
    bar.clear();
    changed |= found.size() != known_.size();
    known_ = std::move(found);
    return changed;
}

void PageInputs::add_to(PageData& data) const {
    for (const auto& [path, known] : known_) {
        if (known.recording) data.add(known.recording);
    }
}

}  // namespace ps_tool
