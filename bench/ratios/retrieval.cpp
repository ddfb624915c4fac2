#include "bench/ratios/retrieval.h"

#include <string_view>

#include "tools/reader/verify.h"

namespace bench {
namespace {

constexpr host_kit::Device kCamera{.devices_id = 7, .number = 3};
constexpr host_kit::Seconds kStart = 1'700'000'000;

}  // namespace

std::optional<std::string> created_operation(const std::string& text) {
    constexpr std::string_view kBefore = "creating operation id ";
    constexpr std::size_t kGuidLength = 36;
    const std::size_t found = text.find(kBefore);
    if (found == std::string::npos) return std::nullopt;
    return text.substr(found + kBefore.size(), kGuidLength);
}

Retrieval::Retrieval(Host& host, const std::string& output_directory)
    : host_(host), output_directory_(output_directory) {
    host.run({host_kit::device_document(kCamera, "a"), host_kit::channel_document(kCamera, false, kStart),
              host_kit::channel_document(kCamera, true, kStart + 3'600)});
    for (const std::string& reply : host.take_replies()) guid_ = created_operation(reply).value_or(guid_);
    require(!guid_.empty(), "no operation was created");
    host.run({host_kit::reservation_document(guid_, output_directory + "tmp", output_directory)});
}

double Retrieval::convert(const std::filesystem::path& clip) {
    const std::filesystem::path link = "clip.mp4";
    std::filesystem::remove(link);
    std::filesystem::create_hard_link(clip, link);
    const host_kit::ClipNotice notice{
        .file = link.string(), .start = kStart, .stop = kStart + 60, .input_name = "Gate"};
    const double seconds = host_.run({host_kit::clip_document(kCamera, guid_, notice)}).work_seconds;
    require(!std::filesystem::exists(link), "the clip was not removed");
    return seconds;
}

std::filesystem::path Retrieval::recording() const {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(output_directory_)) {
        if (entry.path().extension() == ".ps") return entry.path();
    }
    throw WrongResult("the recording is missing");
}

void require_complete(const std::filesystem::path& recording, std::size_t frames) {
    reader::Recording pair(recording.string());
    const auto report = reader::verify(pair);
    require(report.verified(), "the recording has faults");
    require(report.frames == frames, "the recording has " + std::to_string(report.frames) + " frames");
}

}  // namespace bench
