#include "tools/clip_maker/clip_maker.h"

#include <algorithm>
#include <numeric>

#include "tools/clip_maker/byte_text.h"

namespace clip_maker {
namespace {

using Words = std::vector<std::uint32_t>;

std::uint32_t narrow(std::size_t value) {
    return static_cast<std::uint32_t>(value);
}

std::string joined(const std::vector<std::string>& parts) {
    return std::accumulate(parts.begin(), parts.end(), std::string());
}

/// ISO/IEC 14496-12, 8.2.2.
std::string movie_header(const Clip& clip) {
    const int width = clip.long_times ? 8 : 4;
    const std::string rest = zeros(clip.minimal ? 0 : 80);  // rate to next track ID
    return box("mvhd", big(clip.long_times ? 1 : 0, 1) + zeros(3) +
                           zeros(2 * static_cast<std::size_t>(width)) + be32(clip.timescale) +
                           big(*clip.duration, width) + rest);
}

/// ISO/IEC 14496-12, 12.1.3. "avc1" has a configuration with one parameter set of each kind (ISO/IEC
/// 14496-15, 5.3.3.1).
std::string configuration(const AvcSets& sets) {
    const auto units = [](const std::vector<std::string>& all) {
        std::string text;
        for (const std::string& unit : all) text += be16(unit.size()) + unit;
        return text;
    };
    return box("avcC", big(0x0142001E, 4) + big(0xFCU | (sets.length_size - 1U), 1) +
                           big(0xE0U | sets.sequence.size(), 1) + units(sets.sequence) +
                           big(sets.picture.size(), 1) + units(sets.picture));
}

std::string sample_entry(const ClipTrack& track) {
    std::string fixed = zeros(6) + be16(1) + zeros(16) + be16(track.width) + be16(track.height) +
                        be32(0x00480000) + be32(0x00480000) + zeros(4) + be16(1) + zeros(32) + be16(24) +
                        be16(0xFFFF);
    if (track.sets) return box(track.format, fixed + track.sets->boxes_ahead + configuration(*track.sets));
    if (track.format != "avc1") {
        fixed.resize(track.entry_bytes - 8);
    } else {
        fixed += configuration({{std::string(kSequenceSet)}, {std::string(kPictureSet)}});
    }
    return box(track.format, fixed);
}

std::vector<std::size_t> chunks_of(const ClipTrack& track) {
    return track.chunks.empty() ? std::vector<std::size_t>{track.samples.size()} : track.chunks;
}

/// One entry for each run of chunks with the same number of samples.
std::string sample_to_chunk(const ClipTrack& track) {
    Words words;
    const auto chunks = chunks_of(track);
    for (std::size_t i = 0; i < chunks.size(); ++i) {
        if (i > 0 && chunks[i] == chunks[i - 1]) continue;
        words.insert(words.end(), {narrow(i + 1), narrow(chunks[i]), 1});
    }
    return table_box("stsc", words.size() / 3, words);
}

std::string chunk_offsets(const ClipTrack& track, std::size_t media_at, bool long_offsets) {
    Words words;
    auto sample = track.samples.begin();
    for (const std::size_t count : chunks_of(track)) {
        if (long_offsets) words.push_back(0);
        words.push_back(narrow(media_at));
        for (std::size_t i = 0; i < count && sample != track.samples.end(); ++i)
            media_at += (sample++)->size();
    }
    return table_box(long_offsets ? "co64" : "stco", chunks_of(track).size(), words);
}

/// One entry for each run of samples with the same value.
template <typename Value>
std::string repeated_values(std::string_view type, const std::vector<Value>& values) {
    Words words;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i == 0 || values[i] != values[i - 1])
            words.insert(words.end(), {0, static_cast<std::uint32_t>(values[i])});
        ++words[words.size() - 2];
    }
    return table_box(type, words.size() / 2, words);
}

std::string time_to_sample(const ClipTrack& track) {
    if (!track.times) return table_box("stts", 1, {narrow(track.samples.size()), 1});
    std::string tables = repeated_values("stts", track.times->durations);
    if (!track.times->compositions.empty()) tables += repeated_values("ctts", track.times->compositions);
    return tables;
}

std::string table_of(const ClipTrack& track, const std::string& name, std::size_t media_at) {
    if (const auto given = track.boxes.find(name); given != track.boxes.end()) return given->second;
    if (name == "stsd") return box("stsd", zeros(4) + be32(1) + sample_entry(track));
    if (name == "stts") return time_to_sample(track);
    if (name == "stsc") return sample_to_chunk(track);
    if (name == "stco" || name == "co64") return chunk_offsets(track, media_at, name == "co64");
    if (name == "stss") return track.sync ? table_box("stss", track.sync->size(), *track.sync) : "";
    Words sizes{narrow(track.samples.size())};
    for (const std::string& sample : track.samples) sizes.push_back(narrow(sample.size()));
    return table_box("stsz", 0, sizes);  // common size 0, then the count and the sizes
}

std::string edit_list(const TrackTimes& times) {
    const int width = times.long_edits ? 8 : 4;
    std::string entries;
    for (const auto& [duration, media_time] : times.edits)
        entries += big(duration, width) + big(static_cast<std::uint64_t>(std::int64_t{media_time}), width) +
                   be32(0x00010000);
    return box("edts",
               box("elst", big(times.long_edits ? 1 : 0, 1) + zeros(3) + be32(times.edits.size()) + entries));
}

/// ISO/IEC 14496-12, 8.3.2, 8.4.2, 8.4.3 and 8.6.6. Without times, the boxes have the right size but no
/// content.
std::string track_box(const Clip& clip, const ClipTrack& track, std::size_t id, const std::string& tables) {
    const std::string information = (clip.minimal ? "" : box("vmhd", zeros(12))) + box("stbl", tables);
    if (!track.times) {
        const auto header = [&](std::string_view type, std::size_t size) {
            return clip.minimal ? "" : box(type, zeros(size));
        };
        return box("trak", header("tkhd", 84) + box("mdia", header("mdhd", 24) + box("minf", information)));
    }
    const TrackTimes& times = *track.times;
    const std::string header = box("tkhd", be32(times.enabled ? 1 : 0) + zeros(8) + be32(id) + zeros(68));
    const std::string media = box("mdhd", zeros(12) + be32(times.time_scale) + zeros(8)) +
                              box("hdlr", zeros(8) + times.handler + zeros(13)) +
                              box("minf", box("hdlr", zeros(8) + "alis" + zeros(13)) + information);
    return box("trak", header + (times.edits.empty() ? "" : edit_list(times)) + box("mdia", media));
}

ClipTrack without_samples(ClipTrack track) {
    track.samples.clear();
    track.sync.reset();
    track.boxes = {{"stts", table_box("stts", 0, {})},
                   {"stsc", table_box("stsc", 0, {})},
                   {"stco", table_box("stco", 0, {})}};
    return track;
}

/// ISO/IEC 14496-12, 8.8.3.
std::string extends(const Clip& clip) {
    std::string boxes;
    for (std::size_t i = 0; i < clip.tracks.size(); ++i) {
        const bool given = clip.fragments->defaults && i % 2 == 0;
        boxes += box("trex", zeros(4) + be32(i + 1) + be32(1) +
                                 be32(given ? clip.tracks[i].times->durations.front() : 0) +
                                 be32(given ? clip.tracks[i].samples.front().size() : 0) + be32(0x00010000));
    }
    return box("mvex", boxes);
}

std::string movie(const Clip& clip, std::size_t media_at) {
    std::string boxes = clip.duration ? movie_header(clip) : "";
    for (std::size_t i = 0; i < clip.tracks.size(); ++i) {
        const ClipTrack track = clip.fragments ? without_samples(clip.tracks[i]) : clip.tracks[i];
        std::string tables;
        for (const std::string& name : track.order) tables += table_of(track, name, media_at);
        boxes += track_box(clip, track, i + 1, tables);
        media_at += joined(track.samples).size();
    }
    return box("moov", boxes + (clip.fragments ? extends(clip) : ""));
}

/// The samples of track `i` that are in a fragment.
struct FragmentPart {
    const ClipTrack& track;
    std::size_t number;  // of the track, counted from 0
    std::size_t begin;
    std::size_t end;

    [[nodiscard]] std::string samples() const {
        return std::accumulate(track.samples.begin() + static_cast<std::ptrdiff_t>(begin),
                               track.samples.begin() + static_cast<std::ptrdiff_t>(end), std::string());
    }
    [[nodiscard]] bool is_key(std::size_t sample) const {
        return !track.sync || std::ranges::find(*track.sync, sample + 1) != track.sync->end();
    }
};

FragmentPart part_of(const Clip& clip, std::size_t track, std::size_t fragment) {
    const std::size_t count = clip.tracks[track].samples.size();
    const std::size_t begin = std::min(fragment * clip.fragments->samples, count);
    return {clip.tracks[track], track, begin, std::min(begin + clip.fragments->samples, count)};
}

/// ISO/IEC 14496-12, 8.8.8. The first sample's flags are the run's if it is the only key frame.
std::string run_of(const FragmentPart& part, bool defaults, std::optional<std::size_t> data_offset) {
    const TrackTimes& times = *part.track.times;
    const bool composed = !times.compositions.empty();
    bool others = false;
    for (std::size_t i = part.begin + 1; i < part.end; ++i) others |= part.is_key(i);
    std::uint32_t flags = (data_offset ? 0x001U : 0) | (others ? 0x400U : 0x004U) | (composed ? 0x800U : 0) |
                          (defaults ? 0U : 0x300U);
    const auto sample_flags = [&](std::size_t i) { return be32(part.is_key(i) ? 0x02000000 : 0x01010000); };
    std::string fields;
    for (std::size_t i = part.begin; i < part.end; ++i) {
        if (!defaults) fields += be32(times.durations[i]) + be32(part.track.samples[i].size());
        if (others) fields += sample_flags(i);
        if (composed) fields += be32(static_cast<std::uint32_t>(times.compositions[i]));
    }
    return box("trun", be32(flags) + be32(part.end - part.begin) + (data_offset ? be32(*data_offset) : "") +
                           (others ? "" : sample_flags(part.begin)) + fields);
}

/// ISO/IEC 14496-12, 8.8.6. `moof_at` and `data_at` count from the start of the file.
std::string track_fragment(const Fragments& how, const FragmentPart& part, std::size_t moof_at,
                           std::size_t data_at) {
    using Base = Fragments::Base;
    const TrackTimes& times = *part.track.times;
    const bool own_defaults = how.defaults && part.number % 2 == 1;
    const std::uint32_t flags = (how.base == Base::kFile ? 0x000001U : 0) |
                                (how.base == Base::kFragment ? 0x020000U : 0) | (own_defaults ? 0x18U : 0);
    std::string header = be32(flags) + be32(part.number + 1);
    if (how.base == Base::kFile) header += be64(data_at);
    if (own_defaults) header += be32(times.durations.front()) + be32(part.track.samples.front().size());
    std::string boxes = box("tfhd", header);
    if (how.first_time) {
        const auto time = std::accumulate(times.durations.begin(),
                                          times.durations.begin() + static_cast<std::ptrdiff_t>(part.begin),
                                          *how.first_time);
        boxes += box("tfdt", big(1, 1) + zeros(3) + be64(time));
    }
    std::optional<std::size_t> offset;
    if (how.base == Base::kFragment || (how.base == Base::kPrevious && part.number == 0))
        offset = data_at - moof_at;
    return box("traf", boxes + run_of(part, how.defaults, offset));
}

std::string fragment(const Clip& clip, std::size_t number, std::size_t at) {
    const auto moof = [&](std::size_t data_at) {
        std::string boxes = box("mfhd", zeros(4) + be32(number + 1));
        for (std::size_t i = 0; i < clip.tracks.size(); ++i) {
            const FragmentPart part = part_of(clip, i, number);
            boxes += track_fragment(*clip.fragments, part, at, data_at);
            data_at += part.samples().size();
        }
        return box("moof", boxes);
    };
    std::string data;
    for (std::size_t i = 0; i < clip.tracks.size(); ++i) data += part_of(clip, i, number).samples();
    return moof(at + moof(0).size() + 8) + box("mdat", data);
}

std::string fragments(const Clip& clip, std::size_t at) {
    std::size_t samples = 0;
    for (const ClipTrack& track : clip.tracks) samples = std::max(samples, track.samples.size());
    std::string text;
    for (std::size_t i = 0; i * clip.fragments->samples < samples; ++i)
        text += fragment(clip, i, at + text.size());
    return text;
}

}  // namespace

std::string box_header(std::size_t size, std::string_view type) {
    return be32(size).append(type);
}

std::string box(std::string_view type, std::string_view payload) {
    return box_header(payload.size() + 8, type).append(payload);
}

std::string large_box(std::string_view type, std::string_view payload) {
    return box_header(1, type).append(be64(payload.size() + 16)).append(payload);
}

std::string table_box(std::string_view type, std::size_t count, const Words& words) {
    std::string payload = zeros(4) + be32(count);
    for (const std::uint32_t word : words) payload += be32(word);
    return box(type, payload);
}

std::string nal(std::string_view unit) {
    return be32(unit.size()).append(unit);
}

std::string unit_of(std::size_t size) {
    std::string unit(size, '\0');
    for (std::size_t i = 0; i < size; ++i) unit[i] = static_cast<char>((i * 31 + (i >> 8) * 7) & 0xFF);
    return unit;
}

std::string make_clip(const Clip& clip) {
    std::string media;
    for (const ClipTrack& track : clip.tracks) media += joined(track.samples);
    const std::string mdat = clip.long_media ? large_box("mdat", media) : box("mdat", media);
    const std::string start = box("ftyp", "isom" + be32(0x200) + "isomavc1") + clip.in_front;
    if (clip.fragments) {
        const std::string head = start + movie(clip, 0);
        return head + fragments(clip, head.size()) + clip.at_end;
    }
    const std::size_t before_mdat = start.size() + (clip.media_in_front ? 0 : movie(clip, 0).size());
    const std::string moov = movie(clip, before_mdat + mdat.size() - media.size());
    return start + (clip.media_in_front ? mdat + moov : moov + mdat) + clip.at_end;
}

std::string make_clip(const ClipTrack& track) {
    return make_clip(Clip{.tracks = {track}});
}

}  // namespace clip_maker
