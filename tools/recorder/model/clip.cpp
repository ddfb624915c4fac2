#include "tools/recorder/model/clip.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "platform/bytes.h"
#include "tools/cli/exit_status.h"
#include "tools/clip_maker/clip_maker.h"

namespace recorder {
namespace {

using Bytes = std::span<const platform::Byte>;

constexpr std::uint64_t kHeaderSize = 8;
constexpr std::uint64_t kMaxMovieBytes = 256ULL * 1024 * 1024;

/// The integer at the offset; 0 if the bytes end before it.
template <typename T>
T integer_at(Bytes bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(T)) return 0;
    return platform::load<std::endian::big, T>(bytes.subspan(offset).first<sizeof(T)>());
}

std::string_view type_at(Bytes bytes, std::size_t offset) {
    if (offset > bytes.size() || bytes.size() - offset < 4) return {};
    return {reinterpret_cast<const char*>(bytes.subspan(offset).data()), 4};
}

/// Calls `visit` with the payload of each box of this type among the boxes in `bytes`.
void for_each_box(Bytes bytes, std::string_view type, const std::function<void(Bytes)>& visit) {
    while (bytes.size() >= kHeaderSize) {
        const std::uint64_t size = integer_at<std::uint32_t>(bytes, 0);
        if (size < kHeaderSize || size > bytes.size()) return;
        if (type_at(bytes, 4) == type) visit(bytes.subspan(kHeaderSize, size - kHeaderSize));
        bytes = bytes.subspan(size);
    }
}

/// The payload of the first box at the path of types; empty without one.
Bytes box_at(Bytes bytes, std::initializer_list<std::string_view> path) {
    for (const std::string_view type : path) {
        Bytes inner;
        for_each_box(bytes, type, [&](Bytes payload) {
            if (inner.empty()) inner = payload;
        });
        bytes = inner;
    }
    return bytes;
}

/// Calls `visit` with the payload of each movie box and movie fragment box of the file. Returns false if the
/// file does not begin with a file type box.
bool for_each_movie_box(const std::filesystem::path& file,
                        const std::function<void(std::string_view type, Bytes payload)>& visit) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw cli::CannotRun(fmt::format("cannot read clip {}", file.string()));
    bool first = true;
    std::array<char, 2 * kHeaderSize> header{};
    const auto bytes = platform::bytes_of(std::string_view(header.data(), header.size()));
    while (in.read(header.data(), kHeaderSize)) {
        const std::string type(type_at(bytes, 4));
        if (std::exchange(first, false) && type != "ftyp") return false;
        std::uint64_t size = integer_at<std::uint32_t>(bytes, 0);
        std::uint64_t header_size = kHeaderSize;
        if (size == 1 && in.read(header.data() + kHeaderSize, kHeaderSize)) {
            size = integer_at<std::uint64_t>(bytes, kHeaderSize);
            header_size = header.size();
        }
        if (size < header_size) break;
        if (type != "moov" && type != "moof") {
            in.seekg(static_cast<std::streamoff>(size - header_size), std::ios::cur);
            continue;
        }
        std::vector<platform::Byte> payload(std::min(size - header_size, kMaxMovieBytes));
        in.read(reinterpret_cast<char*>(payload.data()), static_cast<std::streamsize>(payload.size()));
        payload.resize(static_cast<std::size_t>(in.gcount()));
        visit(type, payload);
    }
    return !first;
}

/// ISO/IEC 14496-12, 8.2.2: the duration in whole seconds, rounded up.
std::int64_t length_of(Bytes movie) {
    const Bytes header = box_at(movie, {"mvhd"});
    const bool wide = !header.empty() && header[0] == 1;
    const std::uint64_t scale = integer_at<std::uint32_t>(header, wide ? 20 : 12);
    const std::uint64_t duration =
        wide ? integer_at<std::uint64_t>(header, 24) : integer_at<std::uint32_t>(header, 16);
    constexpr std::uint64_t kMaxLength = 86'400;
    if (scale == 0 || duration == 0) return 1;
    return static_cast<std::int64_t>(std::clamp<std::uint64_t>((duration - 1) / scale + 1, 1, kMaxLength));
}

/// The number of samples in the tracks other than AAC (8.5.2, 8.7.3). Refuses a track whose sample entry is
/// shorter than a visual one: which samples a module finds in subtitles, time codes or other audio is not
/// prescribed.
std::uint32_t frames_of(Bytes movie, const std::filesystem::path& file) {
    constexpr std::uint32_t kVisualEntry = 86;
    std::uint32_t frames = 0;
    for_each_box(movie, "trak", [&](Bytes track) {
        const Bytes description = box_at(track, {"mdia", "minf", "stbl", "stsd"});
        const std::string_view type = type_at(description, 12);
        if (type == "mp4a") return;
        if (integer_at<std::uint32_t>(description, 8) < kVisualEntry) {
            throw cli::CannotRun(fmt::format("{} has a track of type '{}'; only H.264 and AAC are supported",
                                             file.string(), type));
        }
        frames += integer_at<std::uint32_t>(box_at(track, {"mdia", "minf", "stbl", "stsz"}), 8);
    });
    return frames;
}

/// The tracks of a movie box whose samples the module does not record.
std::set<std::uint32_t> sound_tracks(Bytes movie) {
    std::set<std::uint32_t> ids;
    for_each_box(movie, "trak", [&](Bytes track) {
        if (type_at(box_at(track, {"mdia", "minf", "stbl", "stsd"}), 12) != "mp4a") return;
        const Bytes header = box_at(track, {"tkhd"});
        ids.insert(integer_at<std::uint32_t>(header, !header.empty() && header[0] == 1 ? 20 : 12));
    });
    return ids;
}

bool has_h264(Bytes movie) {
    bool found = false;
    for_each_box(movie, "trak", [&](Bytes track) {
        const std::string_view type = type_at(box_at(track, {"mdia", "minf", "stbl", "stsd"}), 12);
        found = found || type == "avc1" || type == "avc3";
    });
    return found;
}

/// The number of samples in the runs of a movie fragment (8.8.8).
std::uint32_t frames_of_fragment(Bytes fragment, const std::set<std::uint32_t>& sound) {
    std::uint32_t frames = 0;
    for_each_box(fragment, "traf", [&](Bytes track) {
        if (sound.contains(integer_at<std::uint32_t>(box_at(track, {"tfhd"}), 4))) return;
        for_each_box(track, "trun", [&](Bytes run) { frames += integer_at<std::uint32_t>(run, 4); });
    });
    return frames;
}

/// A sample of one unit whose bytes differ from those of its neighbours.
std::string sample(std::uint32_t number, bool key) {
    const std::uint32_t length = (key ? 400 : 60) + number % 37;
    return clip_maker::nal((key ? '\x65' : '\x41') +
                           std::string(length - 1, static_cast<char>('a' + number % 26)));
}

}  // namespace

Clip inspect_clip(const std::filesystem::path& file) {
    if (!std::filesystem::is_regular_file(file))
        throw cli::CannotRun(fmt::format("no clip at {}", file.string()));
    Clip clip{.file = file, .bytes = std::filesystem::file_size(file), .seconds = 1};
    std::set<std::uint32_t> sound;
    clip.mp4 = for_each_movie_box(file, [&](std::string_view type, Bytes payload) {
        if (type == "moof") {
            clip.fragment_frames += frames_of_fragment(payload, sound);
            return;
        }
        clip.frames += frames_of(payload, file);
        clip.seconds = length_of(payload);
        clip.other_coding = !box_at(payload, {"trak"}).empty() && !has_h264(payload);
        sound.merge(sound_tracks(payload));
    });
    return clip;
}

Clip write_clip(const std::filesystem::path& file, const clip_maker::Clip& clip) {
    std::ofstream out(file, std::ios::binary);
    out << clip_maker::make_clip(clip);
    if (!out.flush()) throw cli::CannotRun(fmt::format("cannot write {}", file.string()));
    return inspect_clip(file);
}

Clip write_small_clip(const std::filesystem::path& file, std::int64_t seconds) {
    const auto frames = static_cast<std::uint32_t>(seconds) * kFramesPerSecond;
    clip_maker::ClipTrack track{.samples = {}, .width = 640, .height = 360, .sync = {{}}};
    for (std::uint32_t i = 0; i < frames; ++i) {
        const bool key = i % kFramesPerSecond == 0;
        track.samples.push_back(sample(i, key));
        if (key) track.sync->push_back(i + 1);
    }
    return write_clip(file, {.tracks = {track},
                             .timescale = kFramesPerSecond,
                             .duration = frames,
                             .minimal = true,
                             .media_in_front = true});
}

}  // namespace recorder
