#include "tools/ps/report/key_frames.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>
#include <utility>

#include "tools/ps/report/still_budget.h"
#include "tools/ps/report/still_codec.h"
#include "tools/reader/nal_scan.h"
#include "tools/reader/verify.h"

namespace ps_tool {
namespace {

/// Gathers the key frames of the first video slot that has one.
class KeyFrameList {
  public:
    void add(std::uint8_t slot, const reader::PacketTime& time, std::uint64_t offset, std::uint32_t size) {
        if (slot >= kVideoSlots || slot_.value_or(slot) != slot || !time.plausible()) return;
        slot_ = slot;
        frames_.push_back({reader::instant_of(time), offset, size});
    }
    [[nodiscard]] std::vector<ChosenKeyFrame> by_time() && {
        std::ranges::stable_sort(frames_, {}, &ChosenKeyFrame::time);
        return std::move(frames_);
    }

  private:
    std::optional<std::uint8_t> slot_;
    std::vector<ChosenKeyFrame> frames_;
};

std::vector<ChosenKeyFrame> key_frames_in_index(reader::Recording& recording) {
    KeyFrameList list;
    for (std::uint32_t i = 0; i < recording.entries(); ++i) {
        const auto entry = recording.entry(i);
        if (entry && entry->is_key())
            list.add(entry->slot, entry->time, entry->packet_offset, entry->packet_size);
    }
    return std::move(list).by_time();
}

std::vector<ChosenKeyFrame> key_frames_in_packets(reader::Recording& recording) {
    KeyFrameList list;
    (void)reader::verify(recording, reader::VerifyDepth::kHeaders, [&](const reader::Packet& packet) {
        if (packet.is_key()) list.add(packet.slot, packet.time, packet.offset, packet.size);
    });
    return std::move(list).by_time();
}

/// Nothing if the data file has no such packet.
std::optional<reader::Packet> packet_of(reader::Recording& recording, const ChosenKeyFrame& frame) {
    const auto header = recording.packet_header(frame.offset);
    if (!header || !std::ranges::equal(PesHeader::StartCode::of(PesHeader::View(*header)), kPacketStartCode))
        return std::nullopt;
    const reader::Packet packet = reader::parse_packet(*header, 0, frame.offset);
    const bool same = packet.size == frame.packet_size && packet.is_key() && reader::is_plausible(packet) &&
                      reader::instant_of(packet.time) == frame.time;
    return same ? std::optional(packet) : std::nullopt;
}

/// The nearest of at least one key frame.
std::size_t nearest(const std::vector<ChosenKeyFrame>& frames, const WantedStill& still) {
    const bool before = still.side == WantedStill::Side::kAtOrBefore;
    const auto after = before ? std::ranges::upper_bound(frames, still.instant, {}, &ChosenKeyFrame::time)
                              : std::ranges::lower_bound(frames, still.instant, {}, &ChosenKeyFrame::time);
    const auto count = static_cast<std::size_t>(after - frames.begin());
    if (before) return count == 0 ? 0 : count - 1;
    return std::min(count, frames.size() - 1);
}

/// HEVC has other types of units, and the recorder does not tell it apart.
bool has_picture(std::span<const platform::Byte> payload) {
    return std::ranges::any_of(reader::nal_units(payload), [](const reader::NalUnit& unit) {
        return unit.type == h264::kSlice || unit.type == h264::kSliceOfIdrPicture;
    });
}

}  // namespace

ChosenKeyFrames choose_key_frames(reader::Recording& recording, bool faulty,
                                  const std::vector<WantedStill>& wanted) {
    const bool indexed = !faulty && recording.completed() && recording.entries() > 0;
    auto frames = indexed ? key_frames_in_index(recording) : key_frames_in_packets(recording);
    ChosenKeyFrames chosen;
    if (frames.empty()) return chosen;
    for (const WantedStill& still : wanted) {
        unsigned& kept_until = frames[nearest(frames, still)].kept_until;
        kept_until = std::max(kept_until, thinning_step_of(still));
    }
    if (const auto first = packet_of(recording, frames.front()))
        (void)read_front(recording, *first, chosen.sets);
    std::ranges::copy_if(frames, std::back_inserter(chosen.frames), std::identity(),
                         &ChosenKeyFrame::kept_until);
    return chosen;
}

std::vector<platform::Byte> decodable_stream(reader::Recording& recording, const ChosenKeyFrame& frame,
                                             ActiveParameterSets sets) {
    const auto packet = packet_of(recording, frame);
    std::vector<platform::Byte> payload(packet ? packet->payload() : 0);
    if (!packet || !recording.read_data(frame.offset + PesHeader::size, payload))
        throw StillObstacle("the key frame cannot be read");
    const FrameFront front = parse_front(payload, sets);
    if (!front.has_slice || !has_picture(payload))
        throw StillObstacle("the key frame contains no H.264 picture");
    if (sets.parsed().empty()) throw StillObstacle("no parameter sets in the recording");
    if (!front.slice) throw StillObstacle("the key frame does not match its parameter sets");
    if (!front.begins_decoding()) throw StillObstacle("the key frame depends on other frames");
    const h264::SequenceParameterSet& sequence = *front.slice->sets.sequence;
    if (std::int64_t{sequence.width} * sequence.height > kMaxPicturePixels)
        throw StillObstacle(fmt::format("{} x {} pixels are too many", sequence.width, sequence.height));
    std::vector<platform::Byte> stream = sets.in_start_code_form();
    stream.insert(stream.end(), payload.begin(), payload.end());
    return stream;
}

}  // namespace ps_tool
