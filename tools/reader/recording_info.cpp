#include "tools/reader/recording_info.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <regex>
#include <span>
#include <utility>

#include "mp4/parameter_sets.h"
#include "tools/reader/nal_scan.h"

namespace reader {
namespace {

/// State of one slot after the packets so far.
struct SlotState {
    std::optional<PacketTime> last;
    bool parameter_sets = false;
    bool backwards = false;  // reported once
};

class RecordingInfoBuilder {
  public:
    RecordingInfoBuilder(Recording& recording, RecordingInfo& info) : recording_(recording), info_(info) {}

    void add(const Packet& packet) {
        SlotState& slot = slots_.at(packet.slot);
        if (slot.last && packet.time < *slot.last && !slot.backwards) {
            add_obstacle(fmt::format("frame {} is older than the previous one", packet.number));
            slot.backwards = true;
        }
        if (packet.begins_span && packet.slot < kVideoSlots) begin_span(packet, slot);
        slot.last = packet.time;
    }

    void finish() {
        std::array<const Span*, kSlots> previous{};
        for (const Span& span : info_.report.span_list) {
            info_.covered += std::max<std::int64_t>(0, instant_of(span.last) - instant_of(span.first));
            const Span* const before = std::exchange(previous.at(span.slot), &span);
            const std::int64_t gap =
                before == nullptr ? 0 : instant_of(span.first) - instant_of(before->last);
            if (gap <= kSpanGap) continue;  // a new day or another recording kind also begins a span
            ++info_.gaps;
            info_.gap_time += gap;
            info_.longest_gap = std::max(info_.longest_gap, gap);
        }
        const auto has_video = [](const SlotState& slot) { return slot.last.has_value(); };
        const auto video = std::span(slots_).first<kVideoSlots>();
        if (std::ranges::none_of(video, has_video)) return add_obstacle("no video frames");
        info_.parameter_sets = std::ranges::all_of(
            video, [&](const SlotState& slot) { return slot.parameter_sets || !has_video(slot); });
    }

  private:
    void begin_span(const Packet& packet, SlotState& slot) {
        // A new day or another recording kind also begins a span.
        const bool after_gap = !slot.last || instant_of(packet.time) - instant_of(*slot.last) > kSpanGap;
        if (!packet.is_key() && after_gap)
            add_obstacle(fmt::format("frame {} begins a span but is not a key frame", packet.number));
        if (slot.parameter_sets) return;
        const std::vector<platform::Byte> head = head_of(packet);
        if (!info_.sequence) info_.sequence = first_sequence(head);
        slot.parameter_sets = h264::has_parameter_sets(head);
        if (slot.parameter_sets || slot.last) return;
        if (!has_slice(head))
            return add_obstacle(fmt::format("the first frame of slot {} is not H.264", packet.slot));
        info_.missing_sets.push_back(
            fmt::format("no parameter sets before the first frame of slot {}", packet.slot));
    }

    /// The start of a frame, where its parameter sets are. Empty if it cannot be read.
    [[nodiscard]] std::vector<platform::Byte> head_of(const Packet& packet) {
        constexpr std::size_t kHeadSize = std::size_t{64} * 1024;
        if (packet.size < PesHeader::size + packet.padding) return {};
        std::vector<platform::Byte> head(std::min<std::size_t>(packet.payload(), kHeadSize));
        if (!recording_.read_data(packet.offset + PesHeader::size, head)) head.clear();
        return head;
    }

    /// Also true if nothing was read, which is another fault.
    [[nodiscard]] static bool has_slice(std::span<const platform::Byte> head) {
        const std::vector<NalUnit> units = nal_units(head);
        return units.empty() || std::ranges::any_of(units, [](const NalUnit& unit) {
                   return unit.type == h264::kSlice || unit.type == h264::kSliceOfIdrPicture;
               });
    }

    static std::optional<h264::SequenceParameterSet> first_sequence(std::span<const platform::Byte> frame) {
        const auto units = nal_units(frame);
        h264::ParameterSets sets;
        for (std::size_t i = 0; i < units.size(); ++i) (void)sets.add(unit_at(frame, units, i));
        if (sets.sequences().empty()) return std::nullopt;
        return sets.sequences().begin()->second;
    }

    void add_obstacle(std::string obstacle) {
        constexpr std::size_t kMaxReported = 5;
        if (info_.decode_obstacles.size() < kMaxReported)
            info_.decode_obstacles.push_back(std::move(obstacle));
    }

    Recording& recording_;
    RecordingInfo& info_;
    std::array<SlotState, kSlots> slots_{};
};

}  // namespace

// Offsets are multiples of 15 minutes from -12 to +14 hours.
std::optional<int> utc_offset_minutes(const PacketTime& utc, const PacketTime& local) {
    constexpr std::int64_t kQuarter = 900'000;  // ms
    constexpr std::int64_t kWest = -48 * kQuarter;
    constexpr std::int64_t kEast = 56 * kQuarter;
    const std::int64_t ahead = instant_of(local) - instant_of(utc);
    if (ahead % kQuarter != 0 || ahead < kWest || ahead > kEast) return std::nullopt;
    return static_cast<int>(ahead / 60'000);
}

std::optional<RecordingPath> parse_recording_path(const std::string& data_path) {
    static const std::regex form(
        R"((?:.*[/\\])?(\d{4})[/\\](\d\d)[/\\](\d\d)[/\\](\d\d)[/\\](\d\d)(\d\d)-([0-9A-F]{8})e\.ps)");
    std::smatch part;
    if (!std::regex_match(data_path, part, form)) return std::nullopt;
    const auto instant = parse_instant(part.format("$1-$2-$3T$4:$5:$6Z"));
    const auto local = instant ? packet_time_of(*instant) : std::nullopt;
    if (!local) return std::nullopt;
    return RecordingPath{*local, part[7]};
}

std::string clip_id_in(const std::string& data_path) {
    static const std::regex form(R"((?:.*[/\\])?\d{4}-([0-9A-F]{8})e\.ps)");
    std::smatch part;
    return std::regex_match(data_path, part, form) ? part[1].str() : "";
}

std::optional<int> zone_of(const Report& report, const std::optional<RecordingPath>& path) {
    if (!path || report.frames == 0) return std::nullopt;
    return utc_offset_minutes(report.first, path->local_start);
}

bool contradicts_path(const Report& report) {
    const auto path = parse_recording_path(report.path);
    return path && report.frames > 0 && !zone_of(report, path);
}

std::optional<double> RecordingInfo::bitrate() const {
    if (covered == 0) return std::nullopt;
    return static_cast<double>(report.data_size) * 8 * 1000 / static_cast<double>(covered);
}

std::optional<double> RecordingInfo::frame_rate() const {
    const std::size_t distances = report.frames - std::min<std::size_t>(report.frames, report.spans());
    if (covered == 0 || distances == 0) return std::nullopt;
    return static_cast<double>(distances) * 1000 / static_cast<double>(covered);
}

std::int64_t RecordingInfo::duration() const {
    if (report.frames == 0) return 0;
    const auto rate = frame_rate();
    const std::int64_t last_frame = rate ? std::llround(1000 / *rate) : 0;
    return std::max<std::int64_t>(0, instant_of(report.last) - instant_of(report.first)) + last_frame;
}

double RecordingInfo::padding_share() const {
    if (report.data_size == 0) return 0;
    return static_cast<double>(report.padding) / static_cast<double>(report.data_size);
}

RecordingInfo recording_info(Recording& recording) {
    RecordingInfo info;
    RecordingInfoBuilder builder(recording, info);
    info.report =
        verify(recording, VerifyDepth::kHeaders, [&](const Packet& packet) { builder.add(packet); });
    builder.finish();
    info.path = parse_recording_path(info.report.path);
    info.zone = zone_of(info.report, info.path);
    return info;
}

}  // namespace reader
