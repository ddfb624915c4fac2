// Retrievals on full disks, with clips that change, and with clocks that jump. System calls are real except
// the clock.

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <atomic>
#include <csignal>

#include "convert/clip_path.h"
#include "tests/faults/retrieval.h"
#include "tests/support/small_disk.h"

namespace {

/// Seconds by which the wall clock of this program has jumped.
std::atomic<std::int64_t> wall_clock_ahead{0};

}  // namespace

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system uses reserved names
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const auto result = ::syscall(SYS_clock_gettime, clock, time);
    if (clock == CLOCK_REALTIME) time->tv_sec += wall_clock_ahead;
    return static_cast<int>(result);
}

namespace {

/// Limits the size of files while it exists, as a full disk does.
class FullDisk {
  public:
    explicit FullDisk(::rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const ::rlimit limit{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

  private:
    ::rlimit before_{};
    void (*handler_)(int);
};

class RealConditionsTest : public testing::Test {
  protected:
    void reserve() {
        ASSERT_TRUE(retrieval.start());
        retrieval.reserve();
    }
    /// Converts the first clip; returns all error lines so far.
    std::string errors_of_first() {
        retrieval.convert_first();
        EXPECT_TRUE(retrieval.responds());
        std::string all;
        for (const std::string& line : retrieval.errors()) all += line;
        return all;
    }
    static void expect_in(const std::string& errors, const std::string& text) {
        EXPECT_NE(errors.find(text), std::string::npos) << errors;
    }

    [[nodiscard]] ParsedRecording first_recording() const {
        return {read_file(first), read_file(first + "i")};
    }

    const std::string first = Retrieval::kRecordings.at("first");
    Retrieval retrieval;
};

}  // namespace

TEST_F(RealConditionsTest, FullDiskEndsTheClipAndKeepsTheIndexOfWrittenPackets) {
    reserve();
    const std::string clip = make_clip({.samples = std::vector<std::string>(40, nal(unit_of(500)))});
    std::size_t max_entries = 0;
    for (::rlim_t limit = 0; limit < 24'000; limit += 517) {
        write_file("first.mp4", clip);
        {
            const FullDisk disk(limit);
            retrieval.convert_first();
        }
        const ParsedRecording view = first_recording();
        if (read_file(first + "i").size() < 1088) continue;
        EXPECT_EQ(view.fault(true), "") << limit;
        max_entries = std::max(max_entries, view.entries.size());
    }
    EXPECT_EQ(max_entries, 40U);
    EXPECT_TRUE(retrieval.responds());
    expect_in(retrieval.host.lines(), "Error opening ps file");
    expect_in(retrieval.host.lines(), "Error occured while writing frame");
}

TEST_F(RealConditionsTest, ConversionSucceedsAgainOnceTheDiskHasSpace) {
    const SmallDisk disk("out");
    if (!disk.mounted()) GTEST_SKIP() << "mounting is not permitted";
    reserve();
    const std::string clip = make_clip({.samples = std::vector<std::string>(40, nal(unit_of(2'000)))});
    write_file("first.mp4", clip);
    expect_in(errors_of_first(), "Error occured while writing frame");
    const ParsedRecording view = first_recording();
    EXPECT_EQ(view.fault(true), "");
    EXPECT_GT(view.entries.size(), 5U);
    EXPECT_LT(view.entries.size(), 40U);

    const std::size_t before = retrieval.errors().size();
    write_file("second.mp4", make_clip({.samples = {nal("room")}}));
    boost::filesystem::remove(first);
    retrieval.convert_second();
    EXPECT_EQ(retrieval.errors().size(), before);
    EXPECT_EQ(retrieval.recordings().at("second").payloads(), std::vector{in_frame("room")});
}

TEST_F(RealConditionsTest, StateFileIsEmptiedOnAFullDiskAndSurvivesALongerState) {
    const SmallDisk disk("out");
    if (!disk.mounted()) GTEST_SKIP() << "mounting is not permitted";
    platform::FileSystem& files = platform::system_files();
    const std::string old(20'000, 'o');
    ASSERT_TRUE(files.replace_whole("out/state", old));
    write_file("out/rest", std::string(20'000, 'r'));  // truncated for lack of space
    EXPECT_FALSE(files.replace_whole("out/state", old + old));
    EXPECT_EQ(read_file("out/state"), old);
    EXPECT_TRUE(files.replace_whole("out/state", "empty"));
    EXPECT_EQ(read_file("out/state"), "empty");
    EXPECT_FALSE(boost::filesystem::exists("out/state.new"));
}

TEST_F(RealConditionsTest, StateFileThatIsAMountPointIsWrittenInPlace) {
    const SmallDisk disk("out");
    if (!disk.mounted()) GTEST_SKIP() << "mounting is not permitted";
    write_file("out/file", "old");
    write_file("state", "");
    ASSERT_EQ(::mount("out/file", "state", nullptr, MS_BIND, nullptr), 0);
    for (const char* content : {"longer", "new"}) {
        EXPECT_TRUE(platform::system_files().replace_whole("state", content));
        EXPECT_EQ(read_file("state"), content);
    }
    // Longer content that does not fit leaves the old one.
    EXPECT_FALSE(platform::system_files().replace_whole("state", std::string(50'000, 'x')));
    EXPECT_EQ(read_file("state"), "new");
    EXPECT_EQ(::umount("state"), 0);
    EXPECT_EQ(read_file("out/file"), "new");
}

TEST_F(RealConditionsTest, RemovedDirectoryIsCreatedAgainForTheNextClip) {
    reserve();
    EXPECT_EQ(errors_of_first(), "");
    boost::filesystem::remove_all("out");
    write_file("first.mp4", make_clip({.samples = {nal("again")}}));
    // Removed during a conversion: the files stay open and nothing is logged.
    retrieval.host.on_call = [](std::uint32_t, const std::string& text) {
        if (text.find("Processing mp4") != std::string::npos) boost::filesystem::remove_all("out");
    };
    EXPECT_EQ(errors_of_first(), "");
    retrieval.host.on_call = nullptr;
    EXPECT_FALSE(boost::filesystem::exists("out"));
    write_file("first.mp4", make_clip({.samples = {nal("again")}}));
    EXPECT_EQ(errors_of_first(), "");
    EXPECT_EQ(first_recording().payloads(), std::vector{in_frame("again")});
}

TEST_F(RealConditionsTest, ClipThatChangesDuringConversionGivesOnlyWholeFrames) {
    reserve();
    const std::string clip = make_clip({.samples = {nal("one"), nal(unit_of(20'000)), nal("three")}});
    const struct {
        const char* at;  // the change follows the log line that contains this
        std::function<void()> change;
        std::size_t frames;
        const char* error;
    } rows[] = {
        {"Parsing", [] { boost::filesystem::remove("first.mp4"); }, 3, "Error deleting file"},
        {"Processing", [] { boost::filesystem::resize_file("first.mp4", 10'000); }, 1, "Bad frame size"},
        {"Parsing", [] { boost::filesystem::resize_file("first.mp4", 20); }, 0, "No sample tables"},
        {"Processing", [] { std::ofstream("first.mp4", std::ios::app) << "more"; }, 3, ""},
    };
    for (const auto& row : rows) {
        boost::filesystem::remove_all("out");
        write_file("first.mp4", clip);
        retrieval.host.on_call = [&row](std::uint32_t, const std::string& text) {
            if (text.find(row.at) != std::string::npos) row.change();
        };
        const std::size_t before = retrieval.errors().size();
        retrieval.convert_first();
        retrieval.host.on_call = nullptr;
        const auto errors = retrieval.errors();
        EXPECT_EQ(errors.size() > before, row.error[0] != '\0') << row.at;
        if (errors.size() > before) expect_in(errors[before], row.error);
        EXPECT_EQ(first_recording().entries.size(), row.frames) << row.error;
        EXPECT_FALSE(boost::filesystem::exists("first.mp4"));
    }
}

TEST_F(RealConditionsTest, FilesThatAreNotRegularAreNotConverted) {
    reserve();
    const std::function<void()> kinds[] = {
        [] { ::mkfifo("first.mp4", 0666); }, [] { ::symlink("/dev/zero", "first.mp4"); },
        [] { ::mkdir("first.mp4", 0777); }, [] { ::symlink("first.mp4", "first.mp4"); }};
    for (const auto& make : kinds) {
        boost::filesystem::remove("first.mp4");
        make();
        expect_in(errors_of_first(), "Error deleting file");
        EXPECT_NE(boost::filesystem::symlink_status("first.mp4").type(), boost::filesystem::file_not_found);
    }
    EXPECT_TRUE(retrieval.recordings().empty());
}

/// The wall clock jumps by decades after each message. It only dates messages; waits do not depend on it.
TEST(ClockJumps, LoseNoMessageAndCauseNoWait) {
    constexpr std::int64_t kDecade = 315'576'000;
    Retrieval retrieval(platform::real_system());
    const auto started = std::chrono::steady_clock::now();
    std::int64_t calls = 0;
    retrieval.host.on_call = [&calls](std::uint32_t, const std::string&) {
        ++calls;
        wall_clock_ahead = (calls % 2 == 0 ? 1 : -1) * (calls % 10) * kDecade;
    };
    retrieval.run();
    ASSERT_TRUE(retrieval.start());
    EXPECT_TRUE(retrieval.responds());
    wall_clock_ahead = kDecade;
    retrieval.worker->run();  // nothing to do: waits a tenth of a second, not ten years
    retrieval.end();
    wall_clock_ahead = 0;
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::minutes(1));
    EXPECT_GT(calls, 20);
    EXPECT_EQ(retrieval.errors(), std::vector<std::string>{});
    EXPECT_EQ(retrieval.recordings().size(), 2U);
    Retrieval::expect_whole(read_file(Retrieval::kState));
}

/// Both clock changes of a year in 24 zones from UTC-12 to UTC+11, and zones with half and quarter hours in
/// both hemispheres. tests/convert checks that times inside the recording are UTC.
TEST(ClockChanges, PathIsLocalInEveryZone) {
    std::vector<std::string> zones = {"MART9:30",
                                      "CLT4CLST,M9.1.6/24,M4.1.6/24",
                                      "NST3:30NDT,M3.2.0,M11.1.0",
                                      "AZOT1AZOST,M3.5.0/0,M10.5.0/1",
                                      "NPT-5:45",
                                      "LHST-10:30LHDT-11,M10.1.0,M4.1.0",
                                      "LINT-14"};
    for (int west = -11; west <= 12; ++west)
        zones.push_back("ZZZ" + std::to_string(west) + "YYY,M3.5.0,M10.5.0/3");
    const std::int64_t year = 1'514'764'800;  // 2018-01-01 UTC
    for (const std::string& zone : zones) {
        const TimeZone here(zone);
        std::tm before{};
        std::size_t changes = 0;
        for (std::int64_t at = year; at < year + 365 * 86'400; at += 900) {
            const std::time_t time = at;
            std::tm local{};
            ::localtime_r(&time, &local);
            const bool changed = at > year && local.tm_gmtoff != before.tm_gmtoff;
            before = local;
            if (!changed) continue;
            ++changes;
            for (std::int64_t second = at - 2; second <= at + 1; ++second) {
                const std::time_t instant = second;
                ::localtime_r(&instant, &local);
                std::array<char, 64> expected{};
                std::strftime(expected.data(), expected.size(), "o/%Y/%m/%d/%H/%M%S-00000001e.ps", &local);
                EXPECT_EQ(norvane::clip_path("o/", second, 1).full(), expected.data()) << zone;
            }
        }
        EXPECT_EQ(changes, zone.find(',') == std::string::npos ? 0U : 2U) << zone;
    }
}
