// Converts a clip in memory. Then the reader, which shares no code with the writer, verifies the recording.

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
constexpr std::uint64_t kDiskSize = 65'536;  // limits the recording and so the duration of a run

/// The options of a run are the minor version of the clip's "ftyp" box (ISO/IEC 14496-12, 4.3). The
/// conversion ignores these four bytes, so every clip is a valid input.
constexpr std::size_t kOptionsAt = 12;

/// The options of the module are the last byte of the box's major brand, if that begins with 'K'. The
/// conversion ignores the brand, too.
constexpr std::size_t kSwitchesMarkAt = 8;
constexpr std::size_t kSwitchesAt = 11;

class Run {
  public:
    explicit Run(std::span<const std::uint8_t> clip) {
        std::array<std::uint8_t, 4> options{};
        if (clip.size() >= kOptionsAt + options.size())
            std::copy_n(&clip[kOptionsAt], options.size(), options.begin());
        constexpr std::array<std::uint32_t, 8> kStarts = {
            0, 1'529'683'509, 951'868'799, 1'540'688'399, 946'684'799, 1'767'225'599, 0x7FFFFFFF, 0xFFFFFFFF};
        request_.sourceFile = kClip;
        request_.inputName = "Gate";
        request_.outputDirectory = "out/";
        request_.startSeconds = kStarts.at(options[0] & 7U);
        request_.flags2 = static_cast<std::uint8_t>(options[0] >> 3U);
        request_.flags = options[2];
        if (clip.size() > kSwitchesAt && clip[kSwitchesMarkAt] == 'K') {
            const std::uint8_t switches = clip[kSwitchesAt];
            options_ = {.parameter_sets = (switches & 1U) != 0,
                        .sample_times = (switches & 2U) != 0,
                        .all_clips = (switches & 4U) != 0};
        }
        files_.output.data_room = options[3] == 0 ? kDiskSize : std::uint64_t{options[3]} << 5U;
        inject_fault(options[1] >> 6U, options[1] & 0x3FU);
        files_.put(kClip, std::string(clip.begin(), clip.end()));
        files_.note = [this](const std::string& what) {
            if (data_path_.empty() && what.starts_with("create ")) data_path_ = what.substr(7);
        };
    }

    void convert() {
        const int failing_removals = files_.failing_removals;
        try {
            norvane::Mp4Parser parser(
                request_, {files_,
                           sleeper_,
                           [this](auto level, const auto& text) {
                               errors_ +=
                                   level == kLogError && !text.starts_with("Error deleting file") ? 1 : 0;
                           },
                           {},
                           options_});
            result_ = parser.parse_container();
        } catch (const std::bad_alloc&) {
            require(files_.input_throws_at != kNever, "only injected exceptions are thrown");
        }
        require(files_.output.open_files == 0, "every file is closed");
        require(files_.has(kClip) == (!result_ || failing_removals == 2),
                "a clip that was read is removed if possible");
        require(sleeper_.sleeps == (result_ && failing_removals > 0 ? 1 : 0),
                "a failed removal is repeated after one wait");
        require(!result_ || (*result_ == norvane::kConverted) == (errors_ == 0),
                "the result and the error lines agree");
    }

    void check_recording() {
        if (data_path_.empty() || !files_.has(data_path_ + "i")) return;
        files_.input_ends_at = files_.input_throws_at = kNever;  // the reader meets no faults
        reader::Recording recording(data_path_, files_);
        const reader::Report report = reader::verify(recording);
        if (!files_.output.failed.empty()) return;  // the remains depend on the call that failed
        if (report.verified()) return;
        const bool full = files_.output.data_room == 0;
        if (!full) fail(report.faults.kept().front().text);
        if (report.whole_end == 0) return;  // the disk was too small for the first packet
        require(report.repairable() && recording.entries() <= report.frames + 1,
                "a full disk loses only the last packet");
    }

  private:
    /// One kind of fault: none, the nth write fails entirely or in part, or the clip fails to be read and
    /// removed.
    void inject_fault(unsigned kind, unsigned n) {
        if (kind == 1 || kind == 2) files_.output.fail_at = n + 1;
        files_.output.partly = kind == 2;
        if (kind != 3) return;
        (n % 2 == 0 ? files_.input_ends_at : files_.input_throws_at) = n * 64;
        files_.failing_removals = static_cast<int>(n % 3);
    }

    MemoryFiles files_;
    InstantSleeper sleeper_;
    StreamRecord request_;
    norvane::Options options_;
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
