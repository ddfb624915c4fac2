#include "tools/recorder/crash/account.h"

#include <fmt/format.h>

#include "tools/reader/recording_info.h"
#include "tools/recorder/crash/crash.h"

namespace recorder::crash {
namespace {

constexpr std::int64_t kFrame = 1000 / kFramesPerSecond;  // ms

Times::interval_type interval(Seconds from, Seconds to) {
    return Times::interval_type::right_open(from * 1000, to * 1000);
}

/// The times of the recording's frames; nothing if it has a fault or frames are missing.
std::optional<Times> times_of(const std::string& path) {
    try {
        reader::Recording recording(path);
        const reader::Report report = reader::verify(recording);
        if (!report.verified()) return std::nullopt;
        Times times;
        for (const reader::Span& span : report.span_list) {
            times += Times::interval_type::right_open(reader::instant_of(span.first),
                                                      reader::instant_of(span.last) + kFrame);
        }
        const bool is_complete = boost::icl::length(times) == kFrame * report.frames;
        return is_complete ? std::optional(times) : std::nullopt;
    } catch (const reader::CannotOpen&) {
        return std::nullopt;
    }
}

}  // namespace

void Account::host_records(std::size_t camera, Seconds from) {
    CameraTimes& times = cameras_.at(camera);
    if (!times.first) times.first = from;
    times.since = from;
}

void Account::host_misses(std::size_t camera, Seconds from) {
    CameraTimes& times = cameras_.at(camera);
    if (times.since) times.recorded += interval(*times.since, from);
    times.since.reset();
}

void Account::host_ends(Seconds at) {
    for (std::size_t camera = 0; camera < cameras_.size(); ++camera) host_misses(camera, at);
}

Sums Account::sums(const std::filesystem::path& recordings, Seconds end) const {
    Sums sums;
    std::map<std::string, Times> recovered;  // by clip id
    for (const auto& entry : std::filesystem::recursive_directory_iterator(recordings)) {
        if (entry.path().extension() != ".ps") continue;
        const std::string path = entry.path().string();
        const auto name = reader::parse_recording_path(path);
        const auto times = times_of(path);
        if (!times) ++sums.faulty_recordings;
        if (name && times) recovered[name->clip_id] += *times;
    }
    for (std::size_t number = 0; number < cameras_.size(); ++number) {
        const CameraTimes& times = cameras_[number];
        if (!times.first) continue;
        Times lost(interval(*times.first, end));
        lost -= times.recorded;
        sums.lost += boost::icl::length(lost);
        lost &= recovered[fmt::format("{:08X}", clip_id_of(camera(number).device))];
        sums.recovered += boost::icl::length(lost);
    }
    return sums;
}

}  // namespace recorder::crash
