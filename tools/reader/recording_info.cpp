#include "tools/reader/recording_info.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "tools/reader/nal_scan.h"
#include "tools/reader/span_tracker.h"

namespace reader {
namespace {

constexpr std::size_t kLookedAt = std::size_t{64} * 1024;  // parameter sets stand at the front of a picture
constexpr std::uint32_t kVideoSlots = kSlots / 2;

/// What is known of one slot on the way through its packets.
struct SlotState {
    std::optional<PacketTime> last;
    bool parameter_sets = false;
    bool backwards = false;  // said once
};

class InfoCollector {
  public:
    InfoCollector(Recording& recording, RecordingInfo& info) : recording_(recording), info_(info) {}

    void take(const Packet& packet);
    void finish();

  private:
    void begin_span(const Packet& packet, SlotState& slot);
    [[nodiscard]] bool has_parameter_sets(const Packet& packet);
    void hinder(std::string why);

    Recording& recording_;
    RecordingInfo& info_;
    std::array<SlotState, kSlots> slots_{};
    SpanTracker tracker_;
    std::uint64_t hindered_ = 0;
};

void InfoCollector::take(const Packet& packet) {
    SlotState& slot = slots_.at(packet.slot);
    const bool ended = tracker_.take(packet).has_value();
    if (slot.last && packet.moment < *slot.last && !slot.backwards) {
        hinder(fmt::format("frame {} is older than the one before", packet.number));
        slot.backwards = true;
    }
    if (slot.last && ended) {
        const std::int64_t gap =
            std::max<std::int64_t>(0, instant_of(packet.moment) - instant_of(*slot.last));
        // A new day or another recording kind begins a span as well, without a gap.
        if (gap > kSpanGap) {
            ++info_.gaps;
            info_.gap_time += gap;
            info_.longest_gap = std::max(info_.longest_gap, gap);
        }
    }
    if (!slot.last || ended) begin_span(packet, slot);
    slot.last = packet.moment;
}

void InfoCollector::begin_span(const Packet& packet, SlotState& slot) {
    if (packet.slot >= kVideoSlots) return;
    if (!packet.is_key()) hinder(fmt::format("frame {} begins a span and is no key picture", packet.number));
    if (slot.parameter_sets) return;
    slot.parameter_sets = has_parameter_sets(packet);
    if (!slot.parameter_sets && !slot.last) {
        hinder(fmt::format("no parameter sets in front of the first picture of slot {}", packet.slot));
    }
}

bool InfoCollector::has_parameter_sets(const Packet& packet) {
    if (packet.size < PesHeader::size + packet.padding) return false;
    std::vector<platform::Byte> head(std::min<std::size_t>(packet.payload(), kLookedAt));
    if (!recording_.read_data(packet.at + PesHeader::size, head)) return false;
    bool sequence = false;
    bool picture = false;
    for (const NalUnit& unit : nal_units(head)) {
        sequence |= unit.type == h264::kSequenceParameterSet;
        picture |= unit.type == h264::kPictureParameterSet;
        if (unit.is_slice()) break;
    }
    return sequence && picture;
}

void InfoCollector::hinder(std::string why) {
    constexpr std::uint64_t kSaid = 5;
    if (++hindered_ <= kSaid) info_.decode_obstacles.push_back(std::move(why));
}

void InfoCollector::finish() {
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
        hinder("no picture");
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
    InfoCollector collector(recording, info);
    info.report = verify(recording, Depth::kHeaders, [&](const Packet& packet) { collector.take(packet); });
    collector.finish();
    return info;
}

}  // namespace reader
