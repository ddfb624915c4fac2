#include "mp4/movie.h"

#include <algorithm>
#include <utility>

#include "mp4/boxes.h"
#include "mp4/movie_layout.h"
#include "mp4/nal_syntax.h"

using platform::Byte;

namespace {

/// Limits memory: a track takes more of it than the smallest track box takes of the clip.
constexpr std::size_t kMaxTracks = 256;

/// A box and where its payload is in the file.
struct BoxRange {
    BoxType type = 0;
    std::uint64_t offset = 0;  // of the header
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    bool cut = false;  // its header claims a later end

    [[nodiscard]] std::uint64_t size() const noexcept { return end - begin; }
};

void move_to(BoxReader& in, std::uint64_t position) {
    in.clear();
    in.seek(position);
}

/// The box at the offset. Its end is cut at `end`. Nothing if not even its header fits.
std::optional<BoxRange> box_at(BoxReader& in, std::uint64_t offset, std::uint64_t end) {
    constexpr std::uint64_t kHeader = 8;
    constexpr std::uint64_t kLargeHeader = 16;
    if (end - offset < kHeader) return std::nullopt;
    move_to(in, offset);
    std::uint64_t size = in.u32();
    const BoxType type = in.u32();
    const std::uint64_t header = size == kLargeSize ? kLargeHeader : kHeader;
    if (size == kLargeSize) size = in.u64();
    if (size == kSizeToEnd) size = end - offset;
    if (!in.ok() || size < header || end - offset < header) return std::nullopt;
    return BoxRange{type, offset, offset + header, offset + std::min(size, end - offset),
                    size > end - offset};
}

/// Visits the boxes between two offsets. The visitor may move the reader.
template <typename Visitor>
void for_each_box(BoxReader& in, std::uint64_t begin, std::uint64_t end, const Visitor& visit) {
    for (auto box = box_at(in, begin, end); box; box = box_at(in, box->end, end)) visit(*box);
}

/// The record at the reader's position, zeros if it does not end before `end`.
template <typename Layout>
typename Layout::Bytes read_record(BoxReader& in, std::uint64_t end) {
    typename Layout::Bytes record{};
    if (in.position() <= end && end - in.position() >= Layout::size) in.read(record);
    return record;
}

template <typename Layout>
typename Layout::Bytes first_record(BoxReader& in, const BoxRange& box) {
    move_to(in, box.begin);
    return read_record<Layout>(in, box.end);
}

std::uint8_t version_of(BoxReader& in, const BoxRange& box) {
    return FullBox::Version::get(first_record<FullBox>(in, box));
}

std::uint32_t flags_of(BoxReader& in, const BoxRange& box) {
    return FullBox::VersionAndFlags::get(first_record<FullBox>(in, box)) & kFlagBits;
}

/// The table that a reader of boxes.h finds in the box.
template <typename Reader>
auto table_of(BoxReader& in, const BoxRange& box) {
    move_to(in, box.begin);
    Reader reader;
    (void)reader.parse(in, box.size());
    return std::move(reader.table);
}

void read_track_header(BoxReader& in, const BoxRange& box, MovieTrack& track) {
    track.enabled = (flags_of(in, box) & kTrackEnabled) != 0;
    track.id = version_of(in, box) == 1
                   ? LongTrackHeader::TrackId::get(first_record<LongTrackHeader>(in, box))
                   : TrackHeader::TrackId::get(first_record<TrackHeader>(in, box));
}

struct Edit {
    std::uint64_t duration = 0;
    std::int64_t media_time = 0;
};

Edit read_edit(BoxReader& in, bool long_entry, std::uint64_t end) {
    if (long_entry) {
        const auto entry = read_record<LongEditEntry>(in, end);
        return {LongEditEntry::Duration::get(entry),
                static_cast<std::int64_t>(LongEditEntry::MediaTime::get(entry))};
    }
    const auto entry = read_record<EditEntry>(in, end);
    return {EditEntry::Duration::get(entry), static_cast<std::int32_t>(EditEntry::MediaTime::get(entry))};
}

FirstEdit read_edit_list(BoxReader& in, const BoxRange& box) {
    const bool long_entries = version_of(in, box) == 1;
    const std::uint64_t entry_size = long_entries ? LongEditEntry::size : EditEntry::size;
    FirstEdit first;
    for (std::uint64_t left = in.u32(); left > 0 && in.ok(); --left) {
        if (in.position() > box.end || box.end - in.position() < entry_size) break;
        const Edit edit = read_edit(in, long_entries, box.end);
        if (edit.media_time >= 0) {
            first.media_start = edit.media_time;
            break;
        }
        first.delay += edit.duration;
    }
    return first;
}

/// Adds the parameter sets at the reader's position, each after its length of 16 bits.
void read_parameter_sets(BoxReader& in, unsigned count, std::uint64_t end, std::vector<Byte>& sets) {
    for (; count > 0 && in.ok() && in.position() < end; --count) {
        const std::uint16_t size = in.u16();
        if (size == 0) continue;
        if (in.position() > end || end - in.position() < size) return;
        sets.insert(sets.end(), h264::kStartCode.begin(), h264::kStartCode.end());
        sets.resize(sets.size() + size);
        in.read(std::span(sets).last(size));
    }
}

void read_avc_configuration(BoxReader& in, const BoxRange& box, SampleDescription& description) {
    const auto configuration = first_record<AvcConfiguration>(in, box);
    description.nal_length_size = static_cast<std::uint8_t>(
        (AvcConfiguration::NalLengthSize::get(configuration) & kNalLengthSizeBits) + 1);
    description.parameter_sets.clear();
    read_parameter_sets(in, AvcConfiguration::SequenceSets::get(configuration) & kSequenceSetsBits, box.end,
                        description.parameter_sets);
    read_parameter_sets(in, in.u8(), box.end, description.parameter_sets);
}

SampleDescription read_description(BoxReader& in, const BoxRange& entry) {
    SampleDescription description{.coding = entry.type};
    const auto visual = first_record<VisualEntry>(in, entry);
    description.width = VisualEntry::Width::get(visual);
    description.height = VisualEntry::Height::get(visual);
    if (!description.is_h264() || entry.size() < VisualEntry::size) return description;
    for_each_box(in, entry.begin + VisualEntry::size, entry.end, [&](const BoxRange& box) {
        if (box.type == kAvcC) read_avc_configuration(in, box, description);
    });
    return description;
}

void read_descriptions(BoxReader& in, const BoxRange& box, MovieTrack& track) {
    if (box.size() < SampleDescriptionHeader::size) return;
    std::uint32_t left = SampleDescriptionHeader::Count::get(first_record<SampleDescriptionHeader>(in, box));
    track.descriptions.clear();
    for_each_box(in, box.begin + SampleDescriptionHeader::size, box.end, [&](const BoxRange& entry) {
        if (left > 0) track.descriptions.push_back(read_description(in, entry));
        if (left > 0) --left;
    });
}

std::vector<std::uint64_t> widened(const std::vector<std::uint32_t>& offsets) {
    return {offsets.begin(), offsets.end()};
}

std::vector<std::uint64_t> joined(const std::vector<Co64Entry>& entries) {
    std::vector<std::uint64_t> offsets;
    offsets.reserve(entries.size());
    for (const Co64Entry& entry : entries) offsets.push_back(std::uint64_t{entry.high} << 32 | entry.low);
    return offsets;
}

void read_sample_table(BoxReader& in, const BoxRange& box, MovieTrack& track) {
    switch (box.type) {
        case kStsd:
            return read_descriptions(in, box, track);
        case kStts:
            track.time_to_sample = table_of<SttsBox>(in, box);
            return;
        case kCtts:
            track.composition_offsets = table_of<CttsBox>(in, box);
            return;
        case kStsc:
            track.sample_to_chunk = table_of<StscBox>(in, box);
            return;
        case kStsz:
            track.sample_sizes = table_of<StszBox>(in, box);
            return;
        case kStz2:  // a track has one of the two boxes
            if (track.sample_sizes.empty()) track.sample_sizes = table_of<Stz2Box>(in, box);
            return;
        case kStco:
            track.chunk_offsets = widened(table_of<StcoBox>(in, box));
            return;
        case kCo64:
            track.chunk_offsets = joined(table_of<Co64Box>(in, box));
            return;
        case kStss:
            track.sync_samples = table_of<StssBox>(in, box);
            std::ranges::sort(track.sync_samples);
            return;
        default:
            return;
    }
}

/// Everything in a track box. Containers are entered whatever their parent is: they are not nested in
/// themselves, so that the depth is limited.
void read_track_box(BoxReader& in, const BoxRange& box, MovieTrack& track) {
    const auto enter = [&](const auto& read) {
        for_each_box(in, box.begin, box.end, [&](const BoxRange& child) { read(in, child, track); });
    };
    switch (box.type) {
        case kTkhd:
            return read_track_header(in, box, track);
        case kEdts:
            return enter([](BoxReader& reader, const BoxRange& child, MovieTrack& to) {
                if (child.type == kElst) to.edit = read_edit_list(reader, child);
            });
        case kMdhd: {
            // The fields are those of the movie header (8.4.2).
            const auto headers = table_of<MvhdBox>(in, box);
            if (!headers.empty()) track.time_scale = headers.front().timescale;
            return;
        }
        case kHdlr:  // QuickTime files have another one in minf, after that of the media
            if (track.handler == 0)
                track.handler = HandlerRecord::Type::get(first_record<HandlerRecord>(in, box));
            return;
        case kStbl:
            return enter(read_sample_table);
        default:
            return;
    }
}

MovieTrack read_track(BoxReader& in, const BoxRange& trak) {
    MovieTrack track;
    for_each_box(in, trak.begin, trak.end, [&](const BoxRange& box) {
        if (box.type != kMdia) return read_track_box(in, box, track);
        for_each_box(in, box.begin, box.end, [&](const BoxRange& media) {
            if (media.type != kMinf) return read_track_box(in, media, track);
            for_each_box(in, media.begin, media.end,
                         [&](const BoxRange& table) { read_track_box(in, table, track); });
        });
    });
    return track;
}

void read_extends(BoxReader& in, const BoxRange& box, Movie& movie) {
    if (box.type != kTrex) return;
    const auto record = first_record<TrackExtends>(in, box);
    movie.extends[TrackExtends::TrackId::get(record)] = {
        .description = TrackExtends::Description::get(record),
        .duration = TrackExtends::Duration::get(record),
        .size = TrackExtends::Size::get(record),
        .flags = TrackExtends::Flags::get(record)};
}

void read_movie_box(BoxReader& in, const BoxRange& box, Movie& movie) {
    if (box.type == kMvhd) movie.headers = table_of<MvhdBox>(in, box);
    if (box.type == kTrak && movie.tracks.size() < kMaxTracks) movie.tracks.push_back(read_track(in, box));
    if (box.type != kMvex) return;
    for_each_box(in, box.begin, box.end, [&](const BoxRange& child) { read_extends(in, child, movie); });
}

/// Reads the boxes of one movie fragment (8.8.4).
class FragmentReader {
  public:
    FragmentReader(BoxReader& in, Movie& movie, const BoxRange& moof)
        : in_(in), movie_(movie), moof_offset_(moof.offset), data_end_(moof.offset) {
        for_each_box(in, moof.begin, moof.end, [&](const BoxRange& box) {
            if (box.type == kTraf) read_track_fragment(box);
        });
    }

  private:
    void read_track_fragment(const BoxRange& traf) {
        track_ = nullptr;
        decode_time_.reset();
        for_each_box(in_, traf.begin, traf.end, [&](const BoxRange& box) {
            if (box.type == kTfhd) read_header(box);
            if (box.type == kTfdt) read_decode_time(box);
            if (box.type == kTrun && track_ != nullptr) read_run(box);
        });
    }

    /// Without a base offset or its flag, the data follows that of the previous track (8.8.7.1).
    void read_header(const BoxRange& box) {
        const std::uint32_t flags = flags_of(in_, box);
        const std::uint32_t id = FragmentHeader::TrackId::get(first_record<FragmentHeader>(in_, box));
        const auto track = std::ranges::find(movie_.tracks, id, &MovieTrack::id);
        track_ = track == movie_.tracks.end() ? nullptr : &*track;
        const auto extends = movie_.extends.find(id);
        defaults_ = extends == movie_.extends.end() ? SampleDefaults{} : extends->second;
        base_ = (flags & kBaseIsFragment) != 0 ? moof_offset_ : data_end_;
        if ((flags & kHasBaseOffset) != 0) base_ = in_.u64();
        if ((flags & kHasDescription) != 0) defaults_.description = in_.u32();
        if ((flags & kHasDefaultDuration) != 0) defaults_.duration = in_.u32();
        if ((flags & kHasDefaultSize) != 0) defaults_.size = in_.u32();
        if ((flags & kHasDefaultFlags) != 0) defaults_.flags = in_.u32();
        data_end_ = base_;
    }

    void read_decode_time(const BoxRange& box) {
        const std::uint8_t version = version_of(in_, box);
        decode_time_ = version == 1 ? in_.u64() : in_.u32();
    }

    void read_run(const BoxRange& box) {
        const std::uint32_t flags = flags_of(in_, box);
        TrackRun run{.sample_count = RunHeader::Count::get(first_record<RunHeader>(in_, box)),
                     .fields = flags,
                     .defaults = defaults_,
                     .decode_time = std::exchange(decode_time_, std::nullopt)};
        run.data_offset = data_end_;
        if ((flags & kHasDataOffset) != 0) {
            const std::int64_t offset = static_cast<std::int32_t>(in_.u32());
            run.data_offset = base_ + static_cast<std::uint64_t>(offset);
        }
        if ((flags & kHasFirstFlags) != 0) run.first_flags = in_.u32();
        run.entries_offset = in_.position();
        limit_to(box, run);
        data_end_ = run.data_offset + size_of(run);
        if (run.sample_count > 0 && in_.ok()) track_->runs.push_back(run);
    }

    /// The count may be wrong. A sample without fields takes no bytes of the box.
    static void limit_to(const BoxRange& box, TrackRun& run) {
        const std::uint64_t entry_size = run.entry_size();
        const std::uint64_t room = box.end > run.entries_offset ? box.end - run.entries_offset : 0;
        if (entry_size > 0)
            run.sample_count =
                static_cast<std::uint32_t>(std::min<std::uint64_t>(run.sample_count, room / entry_size));
    }

    std::uint64_t size_of(const TrackRun& run) {
        if ((run.fields & kHasSize) == 0) return std::uint64_t{run.sample_count} * run.defaults.size;
        std::uint64_t size = 0;
        for (std::uint32_t i = 0; i < run.sample_count && in_.ok(); ++i)
            size += run.read_sample(in_, i == 0).size;
        return size;
    }

    BoxReader& in_;
    Movie& movie_;
    MovieTrack* track_ = nullptr;  // of the current track fragment
    SampleDefaults defaults_;
    std::uint64_t moof_offset_;
    std::uint64_t base_ = 0;
    std::uint64_t data_end_;  // where the last run ends
    std::optional<std::uint64_t> decode_time_;
};

std::string printable(BoxType type) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto c = static_cast<char>(type >> shift & 0xFF);
        text.push_back(c >= ' ' && c <= '~' ? c : '?');
    }
    return text;
}

}  // namespace

std::uint64_t TrackRun::entry_size() const noexcept {
    std::uint64_t size = 0;
    for (const std::uint32_t field : {kHasDuration, kHasSize, kHasFlags, kHasComposition})
        size += (fields & field) != 0 ? sizeof(std::uint32_t) : 0;
    return size;
}

RunSample TrackRun::read_sample(BoxReader& in, bool first) const {
    RunSample sample{.duration = defaults.duration, .size = defaults.size, .flags = defaults.flags};
    if ((fields & kHasDuration) != 0) sample.duration = in.u32();
    if ((fields & kHasSize) != 0) sample.size = in.u32();
    if ((fields & kHasFlags) != 0) sample.flags = in.u32();
    if ((fields & kHasComposition) != 0) sample.composition_offset = in.u32();
    if (first && first_flags) sample.flags = *first_flags;
    return sample;
}

bool MovieTrack::is_video() const noexcept {
    return handler == box_type("vide") || (handler == 0 && is_h264());
}

/// One description is enough: a sample of another coding is then written as it is.
bool MovieTrack::is_h264() const noexcept {
    return std::ranges::any_of(descriptions, &SampleDescription::is_h264);
}

const MovieTrack* Movie::h264_track() const {
    const bool any_enabled = std::ranges::any_of(
        tracks, [](const MovieTrack& track) { return track.is_video() && track.enabled; });
    const auto first = std::ranges::find_if(tracks, [&](const MovieTrack& track) {
        return track.is_video() && track.is_h264() && (track.enabled || !any_enabled);
    });
    return first == tracks.end() ? nullptr : &*first;
}

const MovieTrack* Movie::track_at(std::uint64_t first_chunk_offset) const {
    const auto track = std::ranges::find_if(tracks, [&](const MovieTrack& candidate) {
        return !candidate.chunk_offsets.empty() && candidate.chunk_offsets.front() == first_chunk_offset &&
               !candidate.sample_sizes.compact();
    });
    return track == tracks.end() ? nullptr : &*track;
}

std::string Movie::codings() const {
    std::vector<BoxType> types;
    std::string text;
    for (const MovieTrack& track : tracks) {
        if (track.descriptions.empty()) continue;
        const BoxType coding = track.descriptions.front().coding;
        if (std::ranges::find(types, coding) != types.end()) continue;
        types.push_back(coding);
        text += (text.empty() ? "" : ", ") + printable(coding);
    }
    return text;
}

Movie read_movie(BoxReader& in) {
    Movie movie;
    std::optional<BoxRange> moov;
    bool fragmented = false;
    for_each_box(in, 0, in.size(), [&](const BoxRange& box) {
        if (box.type == kMoov && !moov) moov = box;
        fragmented |= box.type == kMoof;
        movie.cut |= box.cut && (box.type == kMoov || box.type == kMoof);
    });
    if (!moov) return movie;
    for_each_box(in, moov->begin, moov->end, [&](const BoxRange& box) { read_movie_box(in, box, movie); });
    if (!fragmented) return movie;
    for_each_box(in, 0, in.size(), [&](const BoxRange& box) {
        if (box.type == kMoof) FragmentReader(in, movie, box);
    });
    return movie;
}
