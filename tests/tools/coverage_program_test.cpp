// norvanepi-ps coverage and metrics on trees whose gaps are known.

#include <gmock/gmock.h>
#include <ctime>
#include <nlohmann/json.hpp>

#include "tests/support/clips.h"
#include "tests/support/program.h"
#ifndef _WIN32
#include <unistd.h>

#include "tests/support/small_disk.h"
#endif

namespace {

namespace fs = boost::filesystem;
using nlohmann::json;
using testing::HasSubstr;

class CoverageProgramTest : public ProgramTest {
  protected:
    CoverageProgramTest() {
        // One second and two seconds with four frames each second.
        ClipTrack track{.samples = std::vector(4, nal("\x65 key")), .times = TrackTimes{.durations = {}}};
        track.times->durations.assign(4, 250);
        write_file(directory_ / "one.mp4", make_clip(Clip{.tracks = {track}, .duration = 1'000}));
        track.samples.insert(track.samples.end(), 4, nal("\x65 key"));
        track.times->durations.assign(8, 250);
        write_file(directory_ / "two.mp4", make_clip(Clip{.tracks = {track}, .duration = 2'000}));
    }

    Outcome ps(const std::string& arguments) { return run(full_path(NORVANEPI_PS) + " " + arguments); }

    /// Records from a number of seconds after 23:59:50 on, in recordings of a second.
    void record(int device, const std::string& name, int begin, int end,
                const std::string& clip = "one.mp4") {
        const std::string time =
            begin < 10 ? "20T23:59:" + std::to_string(50 + begin)
                       : "21T00:00:" + std::string(begin < 20 ? "0" : "") + std::to_string(begin - 10);
        std::string clips;
        const int seconds = clip == "one.mp4" ? 1 : 2;
        for (int at = begin; at < end; at += seconds) clips += clip + " ";
        const Outcome made =
            ps("convert " + clips + "--out tree --identifier 10551296 --device " + std::to_string(device) +
               " --name \"" + name + "\" --start 2026-11-" + time + "Z");
        ASSERT_EQ(made.status, 0) << made.err;
    }

    json coverage(const std::string& arguments, int status) {
        const Outcome shown = ps("coverage --json " + arguments);
        EXPECT_EQ(shown.status, status) << shown.err;
#ifdef CHECK_JSON
        write_file(directory_ / "shown.json", shown.out);
        EXPECT_EQ(run(CHECK_JSON " " SCHEMA " shown.json").err, "") << shown.out;
#endif
        return json::parse(shown.out);
    }

    /// Makes all files of the tree an hour old, because the cache skips new ones.
    void settle() {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(directory_ / "tree"))
            fs::last_write_time(entry.path(), long_ago_);
    }

    const std::time_t long_ago_ = std::time(nullptr) - 3'600;
    const std::string kGate = "tree/2026/11/20/23/5950-00A10180e.ps";
};

TEST_F(CoverageProgramTest, ReportsTheKnownGapsOfEachCamera) {
    record(1, "Good", 0, 20);
    record(2, "Stops", 0, 10);
    record(3, "Late", 8, 20);
    record(4, "Night", 0, 8);
    record(4, "Night", 15, 20);
    record(5, "Old", 0, 5);
    record(5, "New", 5, 20);
    record(6, "Twice", 0, 2, "two.mp4");
    record(6, "Twice", 1, 20);
    write_file(directory_ / "tree/2026/11/20/23/5950-00A10780e.ps", "");

    const json all = coverage("tree", 1);
    EXPECT_EQ(all.at("from"), "2026-11-20T23:59:50.000Z");
    EXPECT_EQ(all.at("to"), "2026-11-21T00:00:10.000Z");
    EXPECT_EQ(all.at("verdict"), "4 of 7 cameras have gaps, 45 s missing, the longest 20 s on 00A10780");
    const auto gap = [](const std::string& start, const std::string& end, double seconds) {
        return json{{"start", "2026-11-" + start + ".000Z"},
                    {"end", "2026-11-" + end + ".000Z"},
                    {"seconds", seconds}};
    };
    const struct {
        json names;
        double recorded;
        double current_gap;
        json gaps;
    } expected[] = {
        {json::array(), 0, 20, {gap("20T23:59:50", "21T00:00:10", 20)}},
        {{"Stops"}, 10, 10, {gap("21T00:00:00", "21T00:00:10", 10)}},
        {{"Late"}, 12, 0, {gap("20T23:59:50", "20T23:59:58", 8)}},
        {{"Night"}, 13, 0, {gap("20T23:59:58", "21T00:00:05", 7)}},
        {{"Good"}, 20, 0, json::array()},
        {{"Old", "New"}, 20, 0, json::array()},
        {{"Twice"}, 20, 0, json::array()},
    };
    ASSERT_EQ(all.at("cameras").size(), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        const json& camera = all.at("cameras")[i];
        EXPECT_EQ(camera.at("names"), expected[i].names);
        EXPECT_EQ(camera.at("recorded_seconds"), expected[i].recorded) << camera;
        EXPECT_EQ(camera.at("missing_seconds"), 20 - expected[i].recorded) << camera;
        EXPECT_EQ(camera.at("coverage_ratio"), expected[i].recorded / 20) << camera;
        EXPECT_EQ(camera.at("current_gap_seconds"), expected[i].current_gap) << camera;
        EXPECT_EQ(camera.at("gaps"), expected[i].gaps) << camera;
        EXPECT_EQ(camera.at("gap_count"), expected[i].gaps.size()) << camera;
        EXPECT_EQ(camera.at("faulty_files"), i == 0 ? 1 : 0) << camera;
    }
    EXPECT_EQ(all.at("cameras")[6].at("overlaps"), json({gap("20T23:59:51", "20T23:59:52", 1)}));

    const json short_gaps = coverage("tree --minimum-gap 8s", 1);
    EXPECT_EQ(short_gaps.at("cameras")[3].at("gap_count"), 0);
    EXPECT_EQ(short_gaps.at("cameras")[3].at("missing_seconds"), 7);
    const json inside = coverage("tree --from 2026-11-20T23:59:50.300Z --to 2026-11-20T23:59:50.500Z", 1);
    EXPECT_EQ(inside.at("verdict"), "2 of 7 cameras have gaps, 400 ms missing, the longest 200 ms on Late");
}

TEST_F(CoverageProgramTest, ExitStatusSaysWhetherTimeIsMissingAndFilesAreUnreadable) {
    record(1, "Gate", 0, 2);
    EXPECT_THAT(ps("coverage tree").out, HasSubstr("\nno gaps on 1 camera\n"));
    EXPECT_EQ(ps("coverage tree").status, 0);
    EXPECT_EQ(ps("coverage tree --from 2026-11-20T23:59:46Z").status, 0);
    EXPECT_EQ(ps("coverage tree --from 2026-11-20T23:59:46Z --minimum-gap 4s").status, 1);
    EXPECT_EQ(ps("coverage tree --from 2027-01-01T00:00:00Z").status, 1);
    for (const std::string wrong : {"--minimum-gap 5", "--from 1999-01-01T00:00:00Z",
                                    "--from 2026-11-21T00:00:00Z --to 2026-11-21T00:00:00Z"})
        EXPECT_EQ(ps("coverage tree " + wrong).status, 2) << wrong;

    record(2, "Yard", 0, 2);
    const std::string yard = "tree/2026/11/20/23/5950-00A10280e.ps";
    fs::remove(directory_ / (yard + "i"));
    fs::create_directory(directory_ / (yard + "i"));  // cannot be opened as a file, not even by root
    const Outcome partly = ps("coverage tree --minimum-gap 1s");
    EXPECT_EQ(partly.status, 2);
    EXPECT_THAT(partly.err, HasSubstr("5950-00A10280e.psi: "));
    EXPECT_THAT(partly.out, HasSubstr("Gate"));
    EXPECT_THAT(partly.out, HasSubstr("\n1 of 2 cameras has gaps")) << partly.out;
}

TEST_F(CoverageProgramTest, MetricsReplaceOnlyMetrics) {
    record(1, "Gate", 0, 10);
    record(2, "Yard", 0, 20);
    write_file(
        directory_ / "state.xml",
        "<Pavo><Devices ID='10551296'><Device Number='1' DisconnectTime='1795219200'/></Devices>"
        "<Operations><Operation Devices='10551296' Device='9' GUID='3f2b8c1e-5d4a-4e0b-9a7c-21d0c6e4f8a5' "
        "StartTime='1795219000' EndTime='1795219100' Attempts='6' FailedTime='1795219100' "
        "Reason='reported' ErrorCode='17'/></Operations></Pavo>");
    const std::string line = "metrics tree --to 2026-11-21T00:00:20Z --state state.xml ";
    write_file(directory_ / "x.prom", "");
    ASSERT_EQ(ps(line + "--window 20s -o x.prom").status, 0);
    const std::string text = read_file(directory_ / "x.prom");
    for (const char* const expected :
         {"coverage_ratio{camera=\"00A10180\",name=\"Gate\"} 0\n",
          "coverage_ratio{camera=\"00A10280\",name=\"Yard\"} 0.5\n",
          "current_gap_seconds{camera=\"00A10280\",name=\"Yard\"} 10\n",
          "recovered_seconds{camera=\"00A10280\",name=\"Yard\"} 10\n",
          "newest_frame_timestamp_seconds{camera=\"00A10280\",name=\"Yard\"} 1795219209.75\n",
          "recordings{camera=\"00A10180\",name=\"Gate\"} 10\n",
          "open_gaps{camera=\"00A10180\",name=\"Gate\"} 1\n",
          "failed_operations{camera=\"00A10980\",name=\"\"} 1\n", "window_seconds 20\n"})
        EXPECT_THAT(text, HasSubstr(std::string("\nnorvanepi_") + expected));
    EXPECT_EQ(ps(line + "--window 7d -o x.prom").status, 0);  // begins with the oldest recording
    EXPECT_THAT(read_file(directory_ / "x.prom"), HasSubstr("\nnorvanepi_window_seconds 30\n"));

    const std::string before = read_file(directory_ / kGate);
    EXPECT_EQ(ps(line + "-o " + kGate).status, 2);
    EXPECT_EQ(read_file(directory_ / kGate), before);
    EXPECT_EQ(ps(line + "-o missing/x.prom").status, 2);
    EXPECT_EQ(ps("metrics tree --state missing.xml").status, 2);
}

#ifndef _WIN32
TEST_F(CoverageProgramTest, MetricsKeepTheOldFileWithoutPermissionOrSpaceAndIfKilled) {
    record(1, "Gate", 0, 3);
    ASSERT_EQ(ps("metrics tree -o old.prom").status, 0);
    const std::string old = read_file(directory_ / "old.prom");
    const auto fails_for = [&](const std::string& program, const std::string& out, const std::string& why) {
        const Outcome ended = run(program + " metrics tree -o " + out);
        EXPECT_EQ(ended.status, 2);
        EXPECT_EQ(ended.err, "norvanepi-ps: error: " + out + ": cannot be written: " + why + "\n");
    };
    // Root may write everywhere. So the program runs as an unprivileged user, from a copy that it can read.
    ASSERT_EQ(run("sh -c \"mkdir sealed && cp old.prom sealed && chmod 555 sealed && chmod 755 . && cp " +
                  full_path(NORVANEPI_PS) + " copy\"")
                  .status,
              0);
    const std::string unprivileged =
        ::geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : std::string();
    fails_for(unprivileged + (directory_ / "copy"), "sealed/old.prom", "Permission denied");
    EXPECT_EQ(read_file(directory_ / "sealed/old.prom"), old);
    fs::permissions(directory_ / "sealed", fs::owner_all);

    const std::string own = full_path(NORVANEPI_PS);
    fails_for(own, "/dev/full", "No space left on device");
    if (const SmallDisk disk(directory_ / "disk"); disk.mounted()) {
        write_file(directory_ / "disk/old.prom", old);
        write_file(directory_ / "disk/rest", std::string(100'000, 'r'));  // truncated for lack of space
        fails_for(own, "disk/old.prom", "No space left on device");
        EXPECT_EQ(read_file(directory_ / "disk/old.prom"), old);
        EXPECT_EQ(std::distance(fs::directory_iterator(directory_ / "disk"), fs::directory_iterator()), 2);
    }

    write_file(directory_ / "killed",
               "set -m\n" + own +
                   " metrics tree -o old.prom &\n"
                   "until [ -e old.prom.*.part ] || ! kill -0 $!; do :; done 2>none\n"
                   "kill -KILL $! 2>none; wait $! 2>none\necho $?; rm -f old.prom.*.part\n");
    int killed = 0;
    for (int round = 0; round < 20; ++round) {
        killed += static_cast<int>(run("timeout 60 bash killed").out == "137\n");
        const std::string text = read_file(directory_ / "old.prom");
        EXPECT_TRUE(text.starts_with("# HELP norvanepi_") && text.ends_with("\n# EOF\n")) << text;
    }
    EXPECT_GT(killed, 0);
}
#endif

TEST_F(CoverageProgramTest, TheCacheIsKeyedBySizeAndTimeAndMayBeDamaged) {
    record(1, "Gate", 0, 3);
    record(2, "Yard", 0, 3);
    settle();
    const std::string whole = coverage("tree --cache cache", 0).dump();
    const std::string stored = read_file(directory_ / "cache/recordings.cache");
    ASSERT_NE(stored, "");

    // A change that neither size nor time shows is not noticed: the recording is not read again.
    const std::string data = read_file(directory_ / kGate);
    write_file(directory_ / kGate, std::string(data.size(), '\0'));
    settle();
    EXPECT_EQ(coverage("tree --cache cache", 0).dump(), whole);
    EXPECT_EQ(coverage("tree", 0).at("cameras")[0].at("faulty_files"), 1);

    for (const std::string& broken :
         {std::string(), stored.substr(0, 30), stored.substr(0, stored.size() - 1),
          std::string(stored).replace(stored.size() - 20, 1, "\x7F"), "other " + stored}) {
        write_file(directory_ / "cache/recordings.cache", broken);
        EXPECT_EQ(coverage("tree --cache cache", 0).at("cameras")[0].at("faulty_files"), 1) << broken.size();
    }
    fs::last_write_time(directory_ / kGate, std::time(nullptr) - 1'800);
    write_file(directory_ / kGate, data);  // new: read, and not stored yet
    EXPECT_EQ(coverage("tree --cache cache", 0).dump(), whole);

    // Recordings of another tree stay, those that are gone do not.
    settle();
    EXPECT_EQ(coverage("tree --cache cache", 0).dump(), whole);
    fs::rename(directory_ / "tree", directory_ / "other");
    EXPECT_EQ(coverage("other --cache cache", 0).at("cameras").size(), 2U);
    EXPECT_THAT(read_file(directory_ / "cache/recordings.cache"), HasSubstr("/tree/"));
    fs::create_directory(directory_ / "tree");
    fs::rename(directory_ / "other/2026", directory_ / "tree/2026");
    fs::remove(directory_ / kGate);
    fs::remove(directory_ / (kGate + "i"));
    EXPECT_EQ(ps("coverage tree --cache cache").status, 0);
    EXPECT_EQ(read_file(directory_ / "cache/recordings.cache").find("tree/2026/11/20/23/5950-00A10180e.ps"),
              std::string::npos);
    fs::create_directories(directory_ / "taken/recordings.cache");
    EXPECT_THAT(ps("coverage tree --cache taken").err, HasSubstr("taken/recordings.cache: is a directory"));
    EXPECT_THAT(ps("coverage tree --cache one.mp4").err, HasSubstr("one.mp4: cannot be created: "));
}

}  // namespace
