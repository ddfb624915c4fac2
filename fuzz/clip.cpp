// A clip through the whole conversion into memory, and the written pair through the reader, which checks it
// from both files' layout alone.

#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <string>

#include "convert/mp4_parser.h"
#include "fuzz/require.h"
#include "plugin/interfaces/records.h"
#include "tests/support/fake_time.h"
#include "tests/support/memory_files.h"
#include "tests/support/time_zone.h"
#include "tools/reader/verify.h"

namespace {

constexpr const char* kClip = "clip.mp4";
constexpr std::uint64_t kRoom = 65'536;  // bytes of a recording, so that one run stays short

/// What a run needs beside the clip stands in the clip: in the four bytes of the minor version of "ftyp"
/// (ISO/IEC 14496-12, 4.3), which nobody reads. So every clip is an input and every input may be a clip.
constexpr std::size_t kKnobsAt = 12;
using Knobs = std::array<std::uint8_t, 4>;

Knobs knobs_of(std::span<const std::uint8_t> clip) {
    Knobs knobs{};
    if (clip.size() >= kKnobsAt + knobs.size()) std::copy_n(&clip[kKnobsAt], knobs.size(), knobs.begin());
    return knobs;
}

StreamRecord request_of(const Knobs& knobs) {
    constexpr std::array<std::uint32_t, 8> kStarts = {0,           1'529'683'509, 951'868'799, 1'540'688'399,
                                                      946'684'799, 1'767'225'599, 0x7FFFFFFF,  0xFFFFFFFF};
    StreamRecord request;
    request.sourceFile = kClip;
    request.inputName = "Gate";
    request.outputDirectory = "out/";
    request.startSeconds = kStarts.at(knobs[0] & 7U);
    request.flags2 = static_cast<std::uint8_t>(knobs[0] >> 3U);
    request.flags = knobs[2];
    return request;
}

/// What goes wrong with the files: nothing, the nth write in two ways, or the clip and its removal.
void disturb(MemoryFiles& files, const Knobs& knobs) {
    const unsigned kind = knobs[1] >> 6U;
    const unsigned n = knobs[1] & 0x3FU;
    files.output.data_room = knobs[3] == 0 ? kRoom : std::uint64_t{knobs[3]} << 5U;
    if (kind == 1 || kind == 2) files.output.fail_at = n + 1;
    files.output.partly = kind == 2;
    if (kind != 3) return;
    (n % 2 == 0 ? files.input_ends_at : files.input_throws_at) = n * 64;
    files.failing_removals = static_cast<int>(n % 3);
}

class Run {
  public:
    explicit Run(std::span<const std::uint8_t> clip) : request_(request_of(knobs_of(clip))) {
        disturb(files_, knobs_of(clip));
        files_.put(kClip, std::string(clip.begin(), clip.end()));
        files_.note = [this](const std::string& what) {
            if (data_path_.empty() && what.starts_with("create ")) data_path_ = what.substr(7);
        };
    }

    void convert() {
        const int failing_removals = files_.failing_removals;
        try {
            norvane::Mp4Parser parser(
                request_, {files_, sleeper_, [this](auto level, const auto& text) { log(level, text); }});
            result_ = parser.parse_container();
        } catch (const std::bad_alloc&) {
            require(files_.input_throws_at != kNever, "only what was injected is thrown");
        }
        require(files_.output.open_files == 0, "every file is closed");
        require(files_.has(kClip) == (!result_ || failing_removals == 2), "the clip goes, but not unread");
        require(sleeper_.sleeps == (result_ && failing_removals > 0 ? 1 : 0), "one wait for a removal");
        require(!result_ || (*result_ == norvane::kConverted) == (errors_ == 0), "a failure has its line");
    }

    void check_recording() {
        if (data_path_.empty() || !files_.has(data_path_ + "i")) return;
        files_.input_ends_at = files_.input_throws_at = kNever;  // the reader's files are sound
        reader::Recording recording(data_path_, files_);
        const reader::Report report = reader::verify(recording);
        if (!files_.output.failed.empty()) return;  // what is left then depends on the call that failed
        if (report.verified()) return;
        const bool full = files_.output.data_room == 0;
        if (!full) fail(report.faults.kept().front().text);
        if (report.whole_end == 0) return;  // not even the beginning found room
        require(report.repairable() && recording.entries() <= report.frames + 1,
                "a full disk costs the last packet alone");
    }

  private:
    void log(std::int32_t level, const std::string& text) {
        const bool error = level == kLogError;
        if (error && !text.starts_with("Error deleting file")) ++errors_;
    }

    MemoryFiles files_;
    InstantSleeper sleeper_;
    StreamRecord request_;
    std::string data_path_;
    std::optional<std::int32_t> result_;
    int errors_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TimeZone zone(kCentralEurope);
    Run run({data, size});
    run.convert();
    run.check_recording();
    return 0;
}
