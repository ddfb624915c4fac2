#include "convert/clip_path.h"

#include <array>
#include <cstdio>

#include "platform/calendar.h"

namespace norvane {
namespace {

constexpr std::uint32_t kFirstInput = 128;  // number of the first input

}  // namespace

std::uint32_t clip_id(const StreamRecord& request) noexcept {
    return request.word8 << 28 | (request.identifier & 0x0FFF0000U) | (request.deviceNumber & 0xFFU) << 8 |
           ((request.inputBase - kFirstInput) & 0xFFU);
}

std::int64_t time_base(const StreamRecord& request) noexcept {
    return request.startSeconds;
}

ClipPath clip_path(const std::string& output_directory, std::int64_t time_base, std::uint32_t clip_id) {
    const platform::CalendarTime local = platform::local_time(time_base).value_or(platform::CalendarTime{});
    std::array<char, 64> text{};
    (void)std::snprintf(text.data(), text.size(), "%lld/%02u/%02u/%02u", static_cast<long long>(local.year),
                        local.month, local.day, local.hour);
    ClipPath path{.directory = output_directory + text.data(), .file_name = {}};
    (void)std::snprintf(text.data(), text.size(), "%02u%02u-%08Xe.ps", local.minute, local.second, clip_id);
    path.file_name = text.data();
    return path;
}

}  // namespace norvane
