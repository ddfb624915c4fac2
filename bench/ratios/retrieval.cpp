#include "bench/ratios/retrieval.h"

#include <algorithm>

#include "tools/reader/verify.h"

namespace bench {
namespace {

constexpr recorder::Device kCamera{.identifier = 7, .number = 3};
constexpr recorder::Seconds kStart = 1'700'000'000;

}  // namespace

std::string guid_in(const std::string& text) {
    constexpr std::size_t kLength = 36;
    const std::size_t dash = text.find('-', text.find("operation id "));
    require(dash != std::string::npos && dash >= 8, "no operation was created: " + text);
    return text.substr(dash - 8, kLength);
}

Retrieval::Retrieval(Host& host, const std::string& output_directory)
    : host_(host), output_directory_(output_directory) {
    host.take_replies();
    host.run({recorder::device_document(kCamera, "a"), recorder::channel_document(kCamera, false, kStart),
              recorder::channel_document(kCamera, true, kStart + 3'600)});
    const auto replies = host.take_replies();
    const auto creating = std::ranges::find_if(
        replies, [](const auto& text) { return text.find("creating") != std::string::npos; });
    require(creating != replies.end(), "no operation was created");
    guid_ = guid_in(*creating);
    host.run({recorder::reservation_document(guid_, output_directory + "tmp", output_directory)});
    host.take_replies();
}

double Retrieval::convert(const std::filesystem::path& clip) {
    const std::filesystem::path link = "clip.mp4";
    std::filesystem::remove(link);
    std::filesystem::create_hard_link(clip, link);
    const recorder::ClipNotice notice{
        .file = link.string(), .start = kStart, .stop = kStart + 60, .input_name = "Gate"};
    const double seconds = host_.run({recorder::clip_document(kCamera, guid_, notice)}).work_seconds;
    require(!std::filesystem::exists(link), "the clip is still there");
    return seconds;
}

std::filesystem::path Retrieval::recording() const {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(output_directory_)) {
        if (entry.path().extension() == ".ps") return entry.path();
    }
    throw WrongResult("there is no recording");
}

void require_whole(const std::filesystem::path& recording, std::uint32_t frames) {
    reader::Recording pair(recording.string());
    const auto report = reader::verify(pair);
    require(report.verified(), "a recording with faults");
    require(report.frames == frames, "a recording of " + std::to_string(report.frames) + " frames");
}

}  // namespace bench
