#include "convert/existing_recording.h"

#include "platform/calendar.h"
#include "ps/encodings.h"
#include "ps/stream_layout.h"

namespace norvane {
namespace {

/// The first frame of a clip may be shown a little later than the clip begins.
constexpr std::uint64_t kMaxDifference = 2'000 * kClockPerMillisecond;

}  // namespace

bool holds_another_time(platform::InputFile& recording, std::int64_t time_base) {
    PesHeader::Bytes bytes{};
    if (recording.read_at(kPacketsAt, bytes) < bytes.size()) return false;
    const PesHeader::View header = bytes;
    const auto time = platform::utc_time(time_base);
    if (!time) return false;
    if (get_date16(PesHeader::Date::of(header)) !=
        date16(static_cast<std::uint32_t>(time->year), time->month, time->day))
        return true;
    const std::uint64_t stored = get_time_stamp(PesHeader::DecodingTime::of(header));
    const std::uint64_t expected =
        ((time->hour * 60ULL + time->minute) * 60 + time->second) * 1'000 * kClockPerMillisecond;
    return (stored > expected ? stored - expected : expected - stored) > kMaxDifference;
}

}  // namespace norvane
