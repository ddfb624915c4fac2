#include "tools/ps/export/export_frames.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <optional>
#include <utility>

#include "ps/index_layout.h"
#include "tools/cli/exit_status.h"
#include "tools/cli/plural.h"
#include "tools/h264/picture_order.h"
#include "tools/ps/frame_front.h"
#include "tools/reader/verify.h"

namespace ps_tool {
namespace {

class Selector {
  public:
    Selector(const TimeRange& range, Selection& selection) : range_(range), selection_(selection) {}

    void give(const ParameterSetUnits& sets) {
        for (const auto& unit : sets) sets_.take(unit);
        given_ = !sets.empty();
    }
    void begin_recording(reader::Recording& recording, std::size_t number) {
        recording_ = &recording;
        number_ = number;
        order_ = {};
        ++sequence_;
        needs_key_frame_ = true;
        skipped_ = 0;
        out_of_order_ = 0;
    }
    void take(const reader::Packet& packet) {
        if (done_ || packet.slot >= kVideoSlots || packet.size < PesHeader::size + packet.padding) return;
        if (slot_.value_or(packet.slot) != packet.slot) return;
        slot_ = packet.slot;
        const FrameFront front = read_front(*recording_, packet, sets_);
        if (packet.is_key() && front.has_slice && sets_.parsed().empty()) {
            throw ExportRefused(recording_->data_path() +
                                ": no parameter sets; use --parameter-sets with a clip of the same camera");
        }
        missing_sets_ |= packet.is_key() && front.has_slice && !front.slice;
        const bool key = packet.is_key() && front.begins_decoding();
        const std::int64_t instant = reader::instant_of(packet.time);
        if (needs_key_frame_ && (!key || (last_ && instant <= *last_))) {
            ++skipped_;
            return;
        }
        needs_key_frame_ = false;
        done_ = key && instant >= range_.to;
        if (done_) return;
        if (key && (selection_.frames.empty() || instant <= range_.from))
            start_selection(*front.slice, front.has_sets, instant);
        append(packet, front, key, instant);
    }

    void end_recording(const reader::Report& report) {
        if (!report.verified())
            warn(fmt::format("{}: damaged; only intact frames are exported", recording_->data_path()));
        if (skipped_ > 0 && !done_) {
            warn(fmt::format(
                "{}: {} skipped: no preceding key frame, or timestamps overlap the previous recording",
                recording_->data_path(), cli::plural(skipped_, "frame")));
        }
        if (out_of_order_ > 0) {
            warn(fmt::format(
                "{}: {} frames have timestamps before the previous frame and are placed right after it",
                recording_->data_path(), out_of_order_));
        }
    }

    [[nodiscard]] bool done() const { return done_; }
    /// Throws ExportRefused if nothing was selected.
    void require_frames() const {
        if (last_ && *last_ >= range_.from && !selection_.frames.empty()) return;
        if (last_ || done_) throw ExportRefused("no frames in this time range");
        throw ExportRefused(missing_sets_ ? "the parameter sets do not match the frames"
                                          : "no key frames in these recordings");
    }

  private:
    /// Drops the frames so far, which are before the range.
    void start_selection(const h264::SliceHeader& slice, bool sets_in_stream, std::int64_t instant) {
        selection_.frames.clear();
        selection_.begins = instant;
        selection_.head = sets_.in_start_code_form();
        selection_.parameter_sets_in_stream = sets_in_stream;
        selection_.width = slice.sets.sequence->width;
        selection_.height = slice.sets.sequence->height;
        if (given_ && !sets_in_stream && !fits_map(*slice.sets.sequence))
            warn(fmt::format("{}: the parameter sets are of {}x{} pixels, the recording of another size",
                             recording_->data_path(), selection_.width, selection_.height));
    }

    /// False if the recording's map has another picture size. The map rounds down, and cuts the quotient to a
    /// byte.
    [[nodiscard]] bool fits_map(const h264::SequenceParameterSet& sequence) const {
        const auto map = recording_->stream_map();
        if (!map || !slot_) return true;
        const auto stream = reader::parse_stream_map(*map).streams.at(*slot_);
        const auto in_map = [](std::uint32_t pixels) { return pixels / kMapPixels % 256 * kMapPixels; };
        const bool unknown = stream.width == 0 || stream.height == 0;  // also if sound preceded the video
        const std::uint32_t coded = (sequence.height + kMapPixels - 1) / kMapPixels * kMapPixels;
        return unknown || (in_map(sequence.width) == stream.width &&
                           (in_map(sequence.height) == stream.height || in_map(coded) == stream.height));
    }

    void append(const reader::Packet& packet, const FrameFront& front, bool key, std::int64_t instant) {
        if (!front.slice || front.slice->idr) ++sequence_;
        if (last_ && instant < *last_) ++out_of_order_;
        std::int64_t decoded = instant - selection_.begins;
        if (!selection_.frames.empty()) decoded = std::max(decoded, selection_.frames.back().decoded + 1);
        selection_.frames.push_back({.recording = number_,
                                     .payload_at = packet.offset + PesHeader::size,
                                     .size = packet.payload(),
                                     .key = key,
                                     .sequence = sequence_,
                                     .order = front.slice ? order_.next(*front.slice) : 0,
                                     .decoded = decoded});
        last_ = std::max(last_.value_or(instant), instant);
    }

    void warn(std::string text) { selection_.warnings.push_back(std::move(text)); }

    const TimeRange& range_;
    Selection& selection_;
    reader::Recording* recording_ = nullptr;
    std::size_t number_ = 0;  // of the recording
    ActiveParameterSets sets_;
    h264::PictureOrder order_;
    std::optional<std::uint8_t> slot_;
    std::uint32_t sequence_ = 0;
    std::optional<std::int64_t> last_;  // instant of the last frame taken, ms
    std::uint32_t skipped_ = 0;         // frames of this recording
    std::uint32_t out_of_order_ = 0;    // frames of this recording that are older than their predecessor
    bool missing_sets_ = false;         // a slice refers to an unknown parameter set
    bool needs_key_frame_ = true;
    bool done_ = false;
    bool given_ = false;  // parameter sets of a clip
};

constexpr std::int64_t kLoneFrame = 40;  // ms: the duration of a frame without a neighbour

/// Of the frames that the same span continues after.
std::int64_t median_duration(const std::vector<ExportFrame>& frames) {
    std::vector<std::int64_t> durations;
    for (std::size_t i = 0; i + 1 < frames.size(); ++i) {
        if (frames[i].duration <= kSpanGap) durations.push_back(frames[i].duration);
    }
    if (durations.empty()) return kLoneFrame;
    const auto middle = durations.begin() + static_cast<std::ptrdiff_t>(durations.size() / 2);
    std::ranges::nth_element(durations, middle);
    return *middle;
}

/// The frames' decoding times are `delay` before the recorded ones.
std::vector<RecordedSpan> recorded_spans(const Selection& selection, std::int64_t delay) {
    std::vector<RecordedSpan> spans;
    for (const ExportFrame& frame : selection.frames) {
        const std::int64_t position = frame.decoded + delay;
        const std::int64_t begin = selection.begins + position;
        if (spans.empty() || begin - spans.back().recorded.end > kSpanGap)
            spans.push_back({{begin, begin}, position});
        spans.back().recorded.end = begin;
    }
    for (RecordedSpan& span : spans) span.recorded.end += selection.frames.back().duration;
    return spans;
}

/// A time after the first `longest` ms of a gap moves earlier by the rest of the gap.
class ShorterGaps {
  public:
    ShorterGaps(const std::vector<ExportFrame>& frames, std::int64_t longest) {
        for (std::size_t i = 1; i < frames.size(); ++i) {
            const Interval removed{frames[i - 1].decoded + longest, frames[i].decoded};
            if (removed.length() > 0) removed_.push_back(removed);
        }
    }
    [[nodiscard]] std::int64_t moved(std::int64_t time) const {
        std::int64_t earlier = 0;
        for (const Interval& removed : removed_)
            earlier += std::clamp<std::int64_t>(time - removed.begin, 0, removed.length());
        return time - earlier;
    }
    [[nodiscard]] const Intervals& removed() const { return removed_; }

  private:
    Intervals removed_;
};

}  // namespace

std::vector<std::size_t> Selection::used_recordings() const {
    std::vector<std::size_t> used;
    for (const ExportFrame& frame : frames) {
        if (used.empty() || used.back() != frame.recording) used.push_back(frame.recording);
    }
    return used;
}

Selection select_frames(const Camera& camera, const TimeRange& range, const ParameterSetUnits& given,
                        const ShowFraction& show) {
    Selection selection;
    selection.camera = camera;
    Selector selector(range, selection);
    selector.give(given);
    for (std::size_t i = 0; i < camera.recordings.size() && !selector.done(); ++i) {
        reader::Recording recording(camera.recordings[i].path);
        selector.begin_recording(recording, i);
        const auto take = [&](const reader::Packet& packet) {
            selector.take(packet);
            const double part =
                static_cast<double>(packet.end()) / static_cast<double>(recording.data_size());
            show((static_cast<double>(i) + part) / static_cast<double>(camera.recordings.size()));
        };
        selector.end_recording(reader::verify(recording, reader::VerifyDepth::kHeaders, take));
    }
    selector.require_frames();
    return selection;
}

void set_times(Selection& selection) {
    std::vector<ExportFrame>& frames = selection.frames;
    std::int64_t delay = 0;
    std::vector<std::size_t> shown;  // one sequence's frames in presentation order
    for (std::size_t begin = 0, end = 0; begin < frames.size(); begin = end) {
        while (end < frames.size() && frames[end].sequence == frames[begin].sequence) ++end;
        shown.resize(end - begin);
        std::iota(shown.begin(), shown.end(), begin);
        std::ranges::stable_sort(shown, {}, [&](std::size_t i) { return frames[i].order; });
        for (std::size_t rank = 0; rank < shown.size(); ++rank) {
            ExportFrame& frame = frames[shown[rank]];
            frame.shown = frames[begin + rank].decoded;
            delay = std::max(delay, frame.decoded - frame.shown);
        }
    }
    for (std::size_t i = 0; i < frames.size(); ++i) {
        frames[i].decoded -= delay;
        if (i > 0) frames[i - 1].duration = frames[i].decoded - frames[i - 1].decoded;
    }
    const std::int64_t median = median_duration(frames);
    for (ExportFrame& frame : frames) {
        if (frame.duration > kSpanGap || &frame == &frames.back()) frame.duration = median;
    }
    selection.spans = recorded_spans(selection, delay);
}

void limit_gaps(Selection& selection, std::int64_t longest) {
    const ShorterGaps gaps(selection.frames, longest);
    if (gaps.removed().empty()) return;
    for (ExportFrame& frame : selection.frames) {
        frame.decoded = gaps.moved(frame.decoded);
        frame.shown = gaps.moved(frame.shown);
    }
    for (RecordedSpan& span : selection.spans) span.position = gaps.moved(span.position);
    for (const Interval& removed : gaps.removed()) {
        selection.warnings.push_back(fmt::format(
            "a gap of {:.1f} days is shortened to {:.1f} days, the longest in this format; .mkv keeps it",
            static_cast<double>(removed.length() + longest) / kDay, static_cast<double>(longest) / kDay));
    }
}

}  // namespace ps_tool
