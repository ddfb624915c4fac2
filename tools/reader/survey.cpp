#include "tools/reader/survey.h"

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
    std::optional<Moment> last;
    bool parameter_sets = false;
    bool backwards = false;  // said once
};

class Surveyor {
  public:
    Surveyor(Recording& recording, Survey& survey) : recording_(recording), survey_(survey) {}

    void take(const Packet& packet);
    void finish();

  private:
    void begin_span(const Packet& packet, SlotState& slot);
    [[nodiscard]] bool has_parameter_sets(const Packet& packet);
    void hinder(std::string why);

    Recording& recording_;
    Survey& survey_;
    std::array<SlotState, kSlots> slots_{};
    SpanTracker tracker_;
    std::uint64_t hindered_ = 0;
};

void Surveyor::take(const Packet& packet) {
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
            ++survey_.gaps;
            survey_.gap_time += gap;
            survey_.longest_gap = std::max(survey_.longest_gap, gap);
        }
    }
    if (!slot.last || ended) begin_span(packet, slot);
    slot.last = packet.moment;
}

void Surveyor::begin_span(const Packet& packet, SlotState& slot) {
    if (packet.slot >= kVideoSlots) return;
    if (!packet.is_key()) hinder(fmt::format("frame {} begins a span and is no key picture", packet.number));
    if (slot.parameter_sets) return;
    slot.parameter_sets = has_parameter_sets(packet);
    if (!slot.parameter_sets && !slot.last) {
        hinder(fmt::format("no parameter sets in front of the first picture of slot {}", packet.slot));
    }
}

bool Surveyor::has_parameter_sets(const Packet& packet) {
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

void Surveyor::hinder(std::string why) {
    constexpr std::uint64_t kSaid = 5;
    if (++hindered_ <= kSaid) survey_.hindrances.push_back(std::move(why));
}

void Surveyor::finish() {
    for (const Span& span : survey_.report.span_list) {
        survey_.covered += std::max<std::int64_t>(0, instant_of(span.last) - instant_of(span.first));
    }
    bool video = false;
    survey_.parameter_sets = true;
    for (std::uint32_t slot = 0; slot < kVideoSlots; ++slot) {
        if (survey_.report.packets.at(slot) == 0) continue;
        video = true;
        survey_.parameter_sets &= slots_.at(slot).parameter_sets;
    }
    if (!video) {
        survey_.parameter_sets = false;
        hinder("no picture");
    }
}

}  // namespace

std::optional<double> Survey::bitrate() const {
    if (covered == 0) return std::nullopt;
    return static_cast<double>(report.data_size) * 8 * 1000 / static_cast<double>(covered);
}

double Survey::padding_share() const {
    if (report.data_size == 0) return 0;
    return static_cast<double>(report.padding) / static_cast<double>(report.data_size);
}

Survey survey(Recording& recording) {
    Survey survey;
    Surveyor surveyor(recording, survey);
    survey.report = verify(recording, Depth::kHeaders, [&](const Packet& packet) { surveyor.take(packet); });
    surveyor.finish();
    return survey;
}

}  // namespace reader
