// One downloaded clip, from its notice to the release of its buffer. The worker does nothing else meanwhile:
// losses and returns of all cameras wait for it, and the processor is taken from a machine that is recording.

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>

#include "bench/ratios/child.h"
#include "bench/ratios/plain_copy.h"
#include "bench/ratios/retrieval.h"
#include "bench/ratios/subjects.h"
#include "mp4/box_walk.h"
#include "platform/posix_file.h"
#include "ps/index_layout.h"

namespace bench {
namespace {

constexpr const char* kRecordings = "recordings/";
constexpr std::size_t kWindow = 262'144;

constexpr double kMaxRatioToBare = 1.25;

struct Clip {
    const char* name = nullptr;
    std::uint32_t frames = 0;
    double of_copy = 0;
    double of_remux = 0;
    double calls_a_frame = 0;
    double bare_of_copy = 0;  // where the limits come from; a file system that takes more moves them
};
constexpr std::array kClips = {Clip{"A", 1'500, 1.75, 0.28, 2.3, 1.5}, Clip{"B", 9'000, 2.2, 0.55, 2.3, 1.8},
                               Clip{"C", 1'800, 1.35, 0.33, 2.6, 1.2}, Clip{"D", 90'000, 10.5, 0.5, 2.1, 9}};

/// The least that puts every packet and its entry into the files as it comes: two calls a packet, the clip
/// read through a window, nothing understood.
void bare_conversion(const std::string& from, const std::vector<std::uint32_t>& sizes) {
    std::vector<platform::Byte> window(std::max<std::size_t>(kWindow, *std::ranges::max_element(sizes)));
    static const std::array<platform::Byte, 44> entry{};
    static std::array<platform::Byte, PesHeader::size + kPacketUnit> header{};
    const auto in = platform::PosixFile::open(from, O_RDONLY);
    const auto data = platform::PosixFile::open("bare.ps", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const auto index = platform::PosixFile::open("bare.psi", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::size_t used = window.size();
    ::off_t read_at = 0;
    ::off_t entry_at = kEntriesAt;
    for (const std::uint32_t size : sizes) {
        if (window.size() - used < size) {
            const ::ssize_t got = ::pread(in.descriptor(), window.data(), window.size(), read_at);
            require(got > 0, "a read failed");
            used = 0;
        }
        const std::size_t padding = (kPacketUnit - size % kPacketUnit) % kPacketUnit;
        const std::array<::iovec, 3> parts = {::iovec{header.data(), PesHeader::size},
                                              ::iovec{window.data() + used, size},
                                              ::iovec{header.data() + PesHeader::size, padding}};
        require(::pwrite(index.descriptor(), entry.data(), entry.size(), entry_at) > 0 &&
                    ::writev(data.descriptor(), parts.data(), 3) > 0,
                "a write failed");
        used += size;
        read_at += static_cast<::off_t>(size);
        entry_at += ::off_t{PsiFrameEntry::size};
    }
}

double bare_seconds(const std::string& clip, const std::vector<std::uint32_t>& sizes) {
    const double seconds = time_of([&] { bare_conversion(clip, sizes); });
    std::filesystem::remove("bare.ps");
    std::filesystem::remove("bare.psi");
    return seconds;
}

/// Another file stands in for every further round: none is overwritten, and freeing one is not measured.
double copy_seconds(const std::string& clip) {
    const double seconds = time_of([&] { plain_copy(clip, "copy"); });
    std::filesystem::remove("copy");
    return seconds;
}

double remux_seconds(const std::string& clip) {
    const double seconds = run_program(
        {"ffmpeg", "-nostdin", "-y", "-loglevel", "quiet", "-i", clip, "-c", "copy", "-f", "vob", "remuxed"});
    std::filesystem::remove("remuxed");
    return seconds;
}

double convert_seconds(Retrieval& retrieval, const std::filesystem::path& clip, std::uint32_t frames) {
    const double seconds = retrieval.convert(clip);
    require_whole(retrieval.recording(), frames);
    retrieval.remove_recording();
    return seconds;
}

/// All system calls of a process that loads the module and converts the clip, or none.
double system_calls(const Effort& effort, const std::string& clip) {
    run_program({"strace", "-f", "-c", "-o", "calls", host_kit::own_program().string(), "--module",
                 effort.module.string(), "--convert", clip},
                "/dev/null");
    std::ifstream in("calls");
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        std::string share;
        std::string seconds;
        std::string microseconds;
        double calls = 0;
        if (line.ends_with(" total") && words >> share >> seconds >> microseconds >> calls) return calls;
    }
    throw WrongResult("no count of system calls");
}

std::vector<SampleTables> tracks_of(const std::filesystem::path& clip) {
    const auto file = platform::system_files().open_input(clip.string());
    BoxReader in(file.get());
    return gather_tracks(in, [](const std::string&) {});
}

std::vector<std::uint32_t> sample_sizes(const std::filesystem::path& clip) {
    std::vector<std::uint32_t> sizes;
    for (const SampleTables& track : tracks_of(clip)) {
        for (std::uint64_t i = 0; i < track.sample_sizes.size(); ++i)
            sizes.push_back(track.sample_sizes.at(i));
    }
    return sizes;
}

/// What a conversion may hold: a fixed part, two samples, and its tables three times.
double allowed_memory(const std::filesystem::path& clip) {
    double bytes = 8.0 * 1024 * 1024;
    for (const SampleTables& track : tracks_of(clip)) {
        const std::uint64_t tables =
            4 * (track.chunk_offsets.size() + track.sample_sizes.size() + 3 * track.sample_to_chunk.size() +
                 2 * track.time_to_sample.size() + track.sync_samples.size());
        bytes += static_cast<double>(3 * tables + 2 * std::uint64_t{track.sample_sizes.largest()});
    }
    return bytes;
}

Figures figures_of(const Clip& clip, const Effort& effort) {
    const auto file = effort.clips / (std::string(clip.name) + ".mp4");
    Host host(effort.module);
    Retrieval retrieval(host, kRecordings);
    Rounds ours;
    Rounds copies;
    Rounds remuxes;
    Rounds bare;
    const auto sizes = sample_sizes(file);
    for (int round = 0; round < effort.rounds(); ++round) {
        ours.push_back(convert_seconds(retrieval, file, clip.frames));
        copies.push_back(copy_seconds(file));
        bare.push_back(bare_seconds(file, sizes));
        remuxes.push_back(remux_seconds(file));
    }
    const std::vector<std::string> options = {"--module", effort.module.string(), "--convert"};
    const double memory = run_self({options[0], options[1], options[2], file.string()});
    const double calls = system_calls(effort, file) - system_calls(effort, "");
    const std::string name = std::string("clip ") + clip.name + ": ";
    return {ratio(name + "time, of a plain copy", ours, copies, clip.of_copy),
            ratio(name + "time, of ffmpeg", ours, remuxes, clip.of_remux),
            ratio(name + "time, of two bare calls a packet", ours, bare, kMaxRatioToBare),
            ratio(name + "two bare calls a packet, of a plain copy", bare, copies, clip.bare_of_copy),
            cost(name + "system calls", "a frame", {calls / clip.frames}, clip.calls_a_frame),
            cost(name + "memory, of what is allowed", "x", {memory / allowed_memory(file)}, 1)};
}

}  // namespace

Figures conversion_figures(const Effort& effort) {
    Figures all;
    for (const Clip& clip : kClips) {
        if (effort.sanity && &clip != &kClips.front()) continue;
        const Figures figures = figures_of(clip, effort);
        all.insert(all.end(), figures.begin(), figures.end());
    }
    return all;
}

double conversion_memory(const std::filesystem::path& module, const std::filesystem::path& clip) {
    Host host(module);
    Retrieval retrieval(host, kRecordings);
    reset_peak();
    const double before = resident_bytes();
    if (!clip.empty()) retrieval.convert(clip);
    const double peak = peak_resident_bytes();
    retrieval.remove_recording();
    return peak - before;
}

}  // namespace bench
