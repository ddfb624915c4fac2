#include "tools/reader/recording_info.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "tools/reader/nal_scan.h"
#include "tools/reader/span_tracker.h"

namespace reader {
namespace {

constexpr std::size_t kHeadSize = std::size_t{64} * 1024;  // parameter sets are at the start of a frame

/// State of one slot after the packets so far.
struct SlotState {
    std::optional<PacketTime> last;
    bool parameter_sets = false;
    bool backwards = false;  // reported once
};

class RecordingInfoBuilder {
  public:
    RecordingInfoBuilder(Recording& recording, RecordingInfo& info) : recording_(recording), info_(info) {}

    void add(const Packet& packet);
    void finish();

  private:
    void begin_span(const Packet& packet, SlotState& slot);
    [[nodiscard]] bool has_parameter_sets(const Packet& packet);
    void add_obstacle(std::string obstacle);

    Recording& recording_;
    RecordingInfo& info_;
    std::array<SlotState, kSlots> slots_{};
    SpanTracker tracker_;
    std::uint64_t obstacles_ = 0;
};

void RecordingInfoBuilder::add(const Packet& packet) {
    SlotState& slot = slots_.at(packet.slot);
    const bool ended = tracker_.add(packet).has_value();
    if (slot.last && packet.time < *slot.last && !slot.backwards) {
        add_obstacle(fmt::format("frame {} is older than the previous one", packet.number));
        slot.backwards = true;
    }
    if (slot.last && ended) {
        const std::int64_t gap = std::max<std::int64_t>(0, instant_of(packet.time) - instant_of(*slot.last));
        // A new day or another recording kind also begins a span, but there is no gap.
        if (gap > kSpanGap) {
            ++info_.gaps;
            info_.gap_time += gap;
            info_.longest_gap = std::max(info_.longest_gap, gap);
        }
    }
    if (!slot.last || ended) begin_span(packet, slot);
    slot.last = packet.time;
}

void RecordingInfoBuilder::begin_span(const Packet& packet, SlotState& slot) {
    if (packet.slot >= kVideoSlots) return;
    if (!packet.is_key())
        add_obstacle(fmt::format("frame {} begins a span but is not a key frame", packet.number));
    if (slot.parameter_sets) return;
    slot.parameter_sets = has_parameter_sets(packet);
    if (!slot.parameter_sets && !slot.last) {
        add_obstacle(fmt::format("no parameter sets before the first frame of slot {}", packet.slot));
    }
}

bool RecordingInfoBuilder::has_parameter_sets(const Packet& packet) {
    if (packet.size < PesHeader::size + packet.padding) return false;
    std::vector<platform::Byte> head(std::min<std::size_t>(packet.payload(), kHeadSize));
    return recording_.read_data(packet.offset + PesHeader::size, head) && reader::has_parameter_sets(head);
}

void RecordingInfoBuilder::add_obstacle(std::string obstacle) {
    constexpr std::uint64_t kMaxReported = 5;
    if (++obstacles_ <= kMaxReported) info_.decode_obstacles.push_back(std::move(obstacle));
}

void RecordingInfoBuilder::finish() {
    for (const Span& span : info_.report.span_list) {
        info_.covered += std::max<std::int64_t>(0, instant_of(span.last) - instant_of(span.first));
    }
    bool video = false;
    info_.parameter_sets = true;
    for (std::uint32_t slot = 0; slot < kVideoSlots; ++slot) {
        if (info_.report.packets.at(slot) == 0) continue;
        video = true;
        info_.parameter_sets &= slots_.at(slot).parameter_sets;
    }
    if (!video) {
        info_.parameter_sets = false;
        add_obstacle("no video frames");
    }
}

}  // namespace

std::optional<double> RecordingInfo::bitrate() const {
    if (covered == 0) return std::nullopt;
    return static_cast<double>(report.data_size) * 8 * 1000 / static_cast<double>(covered);
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
    return info;
}

}  // namespace reader
