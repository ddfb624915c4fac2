#include "tools/clip_maker/clip_maker.h"

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
std::string sample_entry(const ClipTrack& track) {
    std::string fixed = zeros(6) + be16(1) + zeros(16) + be16(track.width) + be16(track.height) +
                        be32(0x00480000) + be32(0x00480000) + zeros(4) + be16(1) + zeros(32) + be16(24) +
                        be16(0xFFFF);
    if (track.format != "avc1") fixed.resize(track.entry_bytes - 8);
    if (track.format == "avc1") {
        fixed += box(
            "avcC", big(0x0142001EFFE1, 6) + be16(4) + be32(0x6742001E) + big(1, 1) + be16(2) + be16(0x68CE));
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

std::string table_of(const ClipTrack& track, const std::string& name, std::size_t media_at) {
    if (const auto given = track.boxes.find(name); given != track.boxes.end()) return given->second;
    if (name == "stsd") return box("stsd", zeros(4) + be32(1) + sample_entry(track));
    if (name == "stts") return table_box("stts", 1, {narrow(track.samples.size()), 1});
    if (name == "stsc") return sample_to_chunk(track);
    if (name == "stco" || name == "co64") return chunk_offsets(track, media_at, name == "co64");
    if (name == "stss") return track.sync ? table_box("stss", track.sync->size(), *track.sync) : "";
    Words sizes{narrow(track.samples.size())};
    for (const std::string& sample : track.samples) sizes.push_back(narrow(sample.size()));
    return table_box("stsz", 0, sizes);  // common size 0, then the count and the sizes
}

std::string movie(const Clip& clip, std::size_t media_at) {
    std::string boxes = clip.duration ? movie_header(clip) : "";
    const auto header = [&](std::string_view type, std::size_t size) {
        return clip.minimal ? "" : box(type, zeros(size));
    };
    for (const ClipTrack& track : clip.tracks) {
        std::string tables;
        for (const std::string& name : track.order) tables += table_of(track, name, media_at);
        const std::string media = header("mdhd", 24) + box("minf", header("vmhd", 12) + box("stbl", tables));
        boxes += box("trak", header("tkhd", 84) + box("mdia", media));
        media_at += joined(track.samples).size();
    }
    return box("moov", boxes);
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
    const std::size_t before_mdat = start.size() + (clip.media_in_front ? 0 : movie(clip, 0).size());
    const std::string moov = movie(clip, before_mdat + mdat.size() - media.size());
    return start + (clip.media_in_front ? mdat + moov : moov + mdat) + clip.at_end;
}

std::string make_clip(const ClipTrack& track) {
    return make_clip(Clip{.tracks = {track}});
}

}  // namespace clip_maker
