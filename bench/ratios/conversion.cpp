// One downloaded clip, from its notice to the release of its buffer, and the check of its recording. Other
// messages wait for the conversion, and it takes processor time from a machine that is recording.

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "bench/ratios/retrieval.h"
#include "mp4/box_walk.h"
#include "platform/posix_file.h"
#include "ps/index_layout.h"

namespace bench {
namespace {

constexpr std::size_t kWindow = 262'144;
constexpr double kMaxRatioToBare = 1.15;
constexpr double kMaxRatioToDefault = 1.05;  // of the safe profile

using platform::PosixFile;

PosixFile create(const std::string& path) {
    return PosixFile::open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
}

/// Reads a file, and writes it to another one unless that is null.
void read_all(const std::string& from, const PosixFile* to = nullptr) {
    static std::array<platform::Byte, kWindow> buffer;
    const PosixFile in = PosixFile::open(from, O_RDONLY);
    for (;;) {
        const ::ssize_t got = ::read(in.descriptor(), buffer.data(), buffer.size());
        if (got == 0) return;
        require(got > 0, "a read failed");
        require(
            to == nullptr || ::write(to->descriptor(), buffer.data(), static_cast<std::size_t>(got)) == got,
            "a write failed");
    }
}

void copy(const std::string& from) {
    const PosixFile to = create("copy");
    read_all(from, &to);
}

/// The least that writes every packet and its entry as it comes: two calls per packet. The clip is read
/// through a window, and nothing is parsed.
void convert_bare(const std::string& from, const std::vector<std::uint32_t>& sizes) {
    std::vector<platform::Byte> window(std::max<std::size_t>(kWindow, *std::ranges::max_element(sizes)));
    static const std::array<platform::Byte, 44> entry{};
    static std::array<platform::Byte, PesHeader::size + kPacketUnit> header{};
    const PosixFile in = PosixFile::open(from, O_RDONLY);
    const PosixFile data = create("bare.ps");
    const PosixFile index = create("bare.psi");
    std::size_t used = window.size();
    ::off_t read_at = 0;
    ::off_t entry_at = kEntriesAt;
    for (const std::uint32_t size : sizes) {
        if (window.size() - used < size) {
            require(::pread(in.descriptor(), window.data(), window.size(), read_at) > 0, "a read failed");
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

/// One way to process the clip. The files that it leaves are removed, so no round overwrites a file.
struct Way {
    std::function<double()> run;
    std::vector<std::string> files;
    Rounds seconds;
    double calls = 0;  // reads and writes of the last round

    void measure() {
        const double before = io_calls();
        seconds.push_back(run());
        calls = io_calls() - before;
        for (const std::string& file : files) std::filesystem::remove(file);
    }
};

std::vector<SampleTables> tracks_of(const std::string& clip) {
    const auto file = platform::system_files().open_input(clip);
    BoxReader in(file.get());
    return gather_tracks(in, [](const std::string&) {});
}

std::vector<std::uint32_t> sample_sizes(const std::vector<SampleTables>& tracks) {
    std::vector<std::uint32_t> sizes;
    for (const SampleTables& track : tracks)
        for (std::uint64_t i = 0; i < track.sample_sizes.size(); ++i)
            sizes.push_back(track.sample_sizes.at(i));
    return sizes;
}

/// The memory that a conversion may take: a fixed part, two samples, and three times its tables.
double allowed_memory(const std::vector<SampleTables>& tracks) {
    std::uint64_t bytes = std::uint64_t{8} * 1024 * 1024;
    for (const SampleTables& track : tracks)
        bytes +=
            2 * std::uint64_t{track.sample_sizes.largest()} +
            12 * (track.chunk_offsets.size() + track.sample_sizes.size() + 3 * track.sample_to_chunk.size() +
                  2 * track.time_to_sample.size() + track.sync_samples.size());
    return static_cast<double>(bytes);
}

/// Seconds of a conversion by a module that was just started.
double seconds_with(Profile profile, const std::string& file, std::size_t frames, const Effort& effort) {
    std::filesystem::remove("norvanepi_state.xml");
    Host host(effort.module, profile);
    Retrieval retrieval(host, "recordings/");
    const double seconds = retrieval.convert(file);
    require_complete(retrieval.recording(), frames);
    retrieval.remove_recording();
    return seconds;
}

Figure safe_profile_figure(const std::string& clip, const std::string& file, const Effort& effort) {
    const std::size_t frames = sample_sizes(tracks_of(file)).size();
    Rounds safe;
    Rounds plain;
    for (int round = 0; round < effort.many_rounds(); ++round) {
        plain.push_back(seconds_with(Profile::kNone, file, frames, effort));
        safe.push_back(seconds_with(Profile::kSafe, file, frames, effort));
    }
    return ratio("clip " + clip + ": time, safe profile vs. default", safe, plain, kMaxRatioToDefault);
}

Figures figures_of(const std::string& clip, const std::string& file, const Effort& effort) {
    const auto tracks = tracks_of(file);
    const auto sizes = sample_sizes(tracks);
    Host host(effort.module);
    Retrieval retrieval(host, "recordings/");
    const double memory = peak_memory_of([&] { retrieval.convert(file); });
    retrieval.remove_recording();

    Way module{[&] { return retrieval.convert(file); }, {}};
    Way bare{[&] { return time_of([&] { convert_bare(file, sizes); }); }, {"bare.ps", "bare.psi"}};
    Way copies{[&] { return time_of([&] { copy(file); }); }, {"copy"}};
    Way remuxes{[&] {
                    return time_of_command(
                        fmt::format("ffmpeg -nostdin -loglevel quiet -i '{}' -c copy -f vob remuxed", file));
                },
                {"remuxed"}};
    Rounds checks;
    Rounds reads;
    for (int round = 0; round < effort.many_rounds(); ++round) {
        module.measure();
        const std::filesystem::path recording = retrieval.recording();
        reads.push_back(time_of([&] {
            read_all(recording.string());
            read_all(std::filesystem::path(recording).replace_extension(".psi").string());
        }));
        checks.push_back(time_of([&] { require_complete(recording, sizes.size()); }));
        retrieval.remove_recording();
        for (Way* way : {&bare, &copies, &remuxes}) way->measure();
    }
    const std::string name = "clip " + clip + ": ";
    return {
        ratio(name + "time vs. bare program", module.seconds, bare.seconds, kMaxRatioToBare),
        cost(name + "reads and writes vs. bare program", "x", {module.calls / bare.calls}, kMaxRatioToBare),
        cost(name + "memory vs. allowed memory", "x", {memory / allowed_memory(tracks)}, 1),
        ratio(name + "time vs. plain copy", module.seconds, copies.seconds),
        ratio(name + "time vs. ffmpeg", module.seconds, remuxes.seconds),
        ratio(name + "check of the recording vs. reading it", checks, reads)};
}

}  // namespace

Figures conversion_figures(const Effort& effort) {
    const auto file_of = [&](const std::string& clip) { return (effort.clips / (clip + ".mp4")).string(); };
    std::vector<std::string> clips = {"A", "B", "C", "D"};
    if (effort.sanity) clips.resize(1);
    Figures all;
    for (const std::string& clip : clips) {
        const Figures figures = figures_of(clip, file_of(clip), effort);
        all.insert(all.end(), figures.begin(), figures.end());
    }
    // Last: what these leave in the heap would hide the memory of other conversions.
    for (const std::string& clip : clips) all.push_back(safe_profile_figure(clip, file_of(clip), effort));
    return all;
}

}  // namespace bench
