#include "tools/recorder/scenarios/soak.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>

#include <fmt/format.h>

#include "tools/recorder/host/module_fault.h"
#include "tools/recorder/scenarios/summary.h"

namespace recorder {
namespace {

namespace fs = std::filesystem;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;

constexpr std::uint64_t kThousand = 1000;
constexpr int kProbes = 50;
constexpr std::size_t kElementsOfLongMessage = 5000;

std::string long_message() {
    std::string text = "<Pavo>";
    for (std::size_t i = 0; i < kElementsOfLongMessage; ++i) text += "<Weather/>";
    return text + "</Pavo>";
}

double milliseconds(nanoseconds duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

nanoseconds median(std::vector<nanoseconds> times) {
    if (times.empty()) return {};
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

nanoseconds longest(const std::vector<nanoseconds>& times) {
    return times.empty() ? nanoseconds() : *std::max_element(times.begin(), times.end());
}

}  // namespace

Soak::Soak(HostSimulator& simulator, const SoakSettings& settings)
    : simulator_(simulator),
      settings_(settings),
      every_(settings.operations == 0 ? kThousand
                                      : std::clamp<std::uint64_t>(settings.operations / 2, 1, kThousand)) {}

std::uint64_t Soak::ended() const {
    const SavedModel& saved = simulator_.model().saved();
    return saved.operations_done + saved.operations_dropped;
}

bool Soak::enough() const {
    if (settings_.operations > 0 && ended() >= settings_.operations) return true;
    return settings_.minutes > 0 && steady_clock::now() - begin_ >= std::chrono::minutes(settings_.minutes);
}

void Soak::watch() {
    if (ended() < every_ * (samples_.size() + 1)) return;
    check_recordings();
    current_.duration = steady_clock::now() - sample_begin_;
    probe();
    current_.process = process_figures();
    current_.texts_held = simulator_.texts_held();
    samples_.push_back(std::exchange(current_, {}));
    sample_begin_ = steady_clock::now();
}

void Soak::add_restart() {
    close_durations_.push_back(simulator_.last_close_duration());
    std::error_code not_there;
    const auto bytes = fs::file_size(simulator_.state_file(), not_there);
    if (!not_there) current_.state_file_bytes = std::max<std::uint64_t>(current_.state_file_bytes, bytes);
}

void Soak::probe() {
    const std::string work = long_message();
    for (int i = 0; i < kProbes; ++i) {
        simulator_.settle();
        simulator_.send_text("probe", "<Pavo><Probe/></Pavo>");
        simulator_.settle();
        current_.idle.push_back(simulator_.last_return() - simulator_.last_sent());
        simulator_.send_text("work", work);
        simulator_.send_text("probe", "<Pavo><Probe/></Pavo>");
        simulator_.settle();
        current_.busy.push_back(simulator_.last_return() - simulator_.previous_return());
    }
}

void Soak::check_recordings() {
    simulator_.settle();
    for (const ExpectedRecording& recording : simulator_.take_recordings()) {
        const reader::Report report = read_back(recording);
        if (!report.verified()) throw ModuleFault(reader::text_of(report.faults.kept().front()));
        fs::remove(recording.path);
        fs::remove(recording.path + "i");
        ++recordings_checked_;
    }
    simulator_.forget_ended_operations();
}

std::string Soak::figures() const {
    std::string text = fmt::format("{} operations in {:.0f} s, {} recordings verified, {} restarts\n",
                                   ended(), milliseconds(steady_clock::now() - begin_) / 1000,
                                   recordings_checked_, close_durations_.size());
    if (samples_.empty()) return text;
    const auto row = [&](const char* name, auto value) {
        auto maximum = value(samples_.front());
        for (const Sample& sample : samples_) maximum = std::max(maximum, value(sample));
        text += fmt::format("{:<34}{:>14}{:>14}{:>14}\n", name, value(samples_.front()),
                            value(samples_.back()), maximum);
    };
    const auto rounded = [](double value) { return std::round(value * 1000) / 1000; };
    text += fmt::format("{:<34}{:>14}{:>14}{:>14}\n", "", fmt::format("first {}", every_),
                        fmt::format("last {}", every_), "maximum");
    row("memory, kB", [](const Sample& sample) { return sample.process.resident_kilobytes; });
    row("descriptors", [](const Sample& sample) { return sample.process.descriptors; });
    row("threads", [](const Sample& sample) { return sample.process.threads; });
    row("texts held when idle", [](const Sample& sample) { return sample.texts_held; });
    row("state file at a restart, bytes", [](const Sample& sample) { return sample.state_file_bytes; });
    row("seconds", [&](const Sample& sample) { return rounded(milliseconds(sample.duration) / 1000); });
    row("message when idle, median ms",
        [&](const Sample& sample) { return rounded(milliseconds(median(sample.idle))); });
    row("message when busy, median ms",
        [&](const Sample& sample) { return rounded(milliseconds(median(sample.busy))); });
    return text + fmt::format("Close and Unload: median {:.3f} ms, longest {:.3f} ms",
                              milliseconds(median(close_durations_)),
                              milliseconds(longest(close_durations_)));
}

}  // namespace recorder
