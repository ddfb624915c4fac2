#include "tools/recorder/model/clip.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <span>
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

/// The payload of the first box at the path of types; empty if there is none.
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

/// The payload of the file's movie box; empty if there is none.
std::vector<platform::Byte> read_movie(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw cli::CannotRun(fmt::format("cannot read clip {}", file.string()));
    std::array<char, 2 * kHeaderSize> header{};
    const auto bytes = platform::bytes_of(std::string_view(header.data(), header.size()));
    while (in.read(header.data(), kHeaderSize)) {
        std::uint64_t size = integer_at<std::uint32_t>(bytes, 0);
        std::uint64_t header_size = kHeaderSize;
        if (size == 1 && in.read(header.data() + kHeaderSize, kHeaderSize)) {
            size = integer_at<std::uint64_t>(bytes, kHeaderSize);
            header_size = header.size();
        }
        if (size < header_size) break;
        if (type_at(bytes, 4) != "moov") {
            in.seekg(static_cast<std::streamoff>(size - header_size), std::ios::cur);
            continue;
        }
        std::vector<platform::Byte> movie(std::min(size - header_size, kMaxMovieBytes));
        in.read(reinterpret_cast<char*>(movie.data()), static_cast<std::streamsize>(movie.size()));
        movie.resize(static_cast<std::size_t>(in.gcount()));
        return movie;
    }
    return {};
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
    const std::vector<platform::Byte> movie = read_movie(file);
    const std::uint32_t frames = frames_of(movie, file);
    if (frames == 0)
        throw cli::CannotRun(fmt::format("{} is not an MP4 clip with sample tables", file.string()));
    return {file, std::filesystem::file_size(file), length_of(movie), frames};
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
