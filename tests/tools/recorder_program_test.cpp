// The recorder as a program: its output and exit status, with the built module and with faulty ones.

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/clips.h"
#include "tests/support/program.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;

class RecorderProgramTest : public ProgramTest {
  protected:
    Outcome recorder(const std::string& arguments,
                     const std::map<std::string, std::string>& variables = {}) const {
        return run(full_path(NORVANEPI_RECORDER) + " " + arguments, variables);
    }

    /// Runs a scenario that must succeed and returns its recordings.
    json recordings_of(const std::string& arguments) {
        const Outcome ended = recorder(arguments + " --json --out work");
        EXPECT_EQ(ended.status, 0) << ended.err;
        EXPECT_THAT(ended.err, HasSubstr("Next: "));
#ifdef CHECK_JSON
        write_file(directory_ / "printed.json", ended.out);
        EXPECT_EQ(run(CHECK_JSON " " SCHEMA " printed.json").err, "") << ended.out;
#endif
        const json printed = json::parse(ended.out, nullptr, false);
        const json& recordings = printed.at("recordings");
        EXPECT_EQ(printed.at("recording_count"), recordings.size());
        EXPECT_EQ(printed.at("faulty_count"), 0);
        return recordings;
    }

    std::vector<json> transcript() const {
        std::vector<json> lines;
        std::istringstream text(read_file(directory_ / "transcript"));
        for (std::string line; std::getline(text, line);) lines.push_back(json::parse(line));
        return lines;
    }
};

TEST_F(RecorderProgramTest, WrongUsageOrEnvironmentGivesOneLineAndStatus2) {
    write_file(directory_ / "text", "not a clip, a module or a directory");
    const std::map<std::string, std::string> cases = {
        {"", "A subcommand is required"},
        {"gap", "--clips is required"},
        {"gap --clips missing.mp4", "no clip at " + (directory_ / "missing.mp4")},
        {"retry --module missing.so", (directory_ / "missing.so") + ": no such file"},
        {"retry --module text", "cannot load the module: "},
        {"retry --module " + full_path(INCOMPLETE_MODULE), ": no entry point Seek"},
        {"retry --out text/below", "cannot work in " + directory_.path()},
        {"retry --out new --transcript missing/t", "cannot write " + directory_.path()},
        {"many --gaps 0", "--gaps"},
        {"many --cameras few", "--cameras"},
        {"restart-second-half --out .", "cannot read the state of the first process"},
    };
    for (const auto& [arguments, message] : cases) {
        const Outcome ended = recorder(arguments);
        EXPECT_EQ(ended.status, 2) << arguments;
        EXPECT_THAT(ended.err, HasSubstr(message)) << arguments;
        EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
    }
    EXPECT_FALSE(boost::filesystem::exists(directory_ / "new"));
    EXPECT_EQ(recorder("--help").status, 0);
}

/// The default forgets the time in which the host is dead. By chance, a later gap may include it.
TEST_F(RecorderProgramTest, OnlyTheSafeProfileRecoversWhatKillsCost) {
    const Outcome ended = recorder("crash --kills 15 --seed 3 --json --out work");
    EXPECT_EQ(ended.status, 0) << ended.out << ended.err;
#ifdef CHECK_JSON
    write_file(directory_ / "printed.json", ended.out);
    EXPECT_EQ(run(CHECK_JSON " " SCHEMA " printed.json").err, "") << ended.out;
#endif
    std::map<std::string, json> profiles;
    const json printed = json::parse(ended.out, nullptr, false);
    for (const json& each : printed.at("profiles")) profiles[each.at("profile")] = each;
    EXPECT_GT(profiles["default"].at("not_recovered_ms"), 0);
    EXPECT_GT(profiles["safe"].at("lost_ms"), 0);
    EXPECT_EQ(profiles["safe"].at("recovered_ms"), profiles["safe"].at("lost_ms"));
    EXPECT_EQ(profiles["safe"].at("faulty_recordings"), 0);
}

TEST_F(RecorderProgramTest, ScenariosPlayWithTheSafeProfile) {
    EXPECT_EQ(recordings_of("retry --profile safe").size(), 3U);  // the third try succeeds
    EXPECT_EQ(recordings_of("restart --profile safe").size(), 9U);
    EXPECT_GT(recordings_of("many --cameras 4 --gaps 2 --seed 1 --profile safe").size(), 0U);
}

#ifndef _WIN32
TEST_F(RecorderProgramTest, ADirectoryWithoutPermissionGivesOneLineAndStatus2) {
    // Root may write everywhere. So the program runs as the user nobody, from a copy that this user can read.
    // It finds the module in its own directory.
    const std::string sealed = directory_ / "sealed";
    const std::string prepare =
        "mkdir -m 555 sealed && chmod 755 . && cp " NORVANEPI_RECORDER " " NORVANEPI_MODULE " .";
    ASSERT_EQ(run("sh -c \"" + prepare + "\"").status, 0);
    const std::string nobody =
        ::geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : std::string();
    const Outcome ended = run(nobody + (directory_ / "norvanepi-recorder") + " retry --out sealed");
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.err, "norvanepi-recorder: error: cannot write into " + sealed + "\n");
}

TEST_F(RecorderProgramTest, AGapIsRetrievedFromClipsWithAndWithoutSound) {
    ASSERT_EQ(run(MAKE_CLIP " a.mp4 --key-every 10").status, 0);
    ASSERT_EQ(run(MAKE_CLIP " \"b & c.mp4\" --seconds 1 --key-every 10 --audio").status, 0);
    const json recordings = recordings_of("gap --clips a.mp4 \"b & c.mp4\"");
    ASSERT_EQ(recordings.size(), 2U);
    EXPECT_EQ(recordings[0].at("frames"), 50);
    EXPECT_EQ(recordings[0].at("key_frames"), 5);
    EXPECT_EQ(recordings[1].at("frames"), 25);
    EXPECT_THAT(read_file(directory_ / "work/norvanepi_state.xml"), HasSubstr("DisconnectTime"));
}
#endif

TEST_F(RecorderProgramTest, ClipsThatMustBeRefusedCanBePlayed) {
    write_file(directory_ / "no.avi", "RIFF, and no box");
    ClipTrack track{.samples = {nal("\x65 key"), nal("\x41 other")},
                    .times = TrackTimes{.durations = {40, 40}}};
    write_file(directory_ / "fragmented.mp4", make_clip(Clip{.tracks = {track}, .fragments = Fragments{}}));
    track.format = "hvc1";
    write_file(directory_ / "hevc.mp4", make_clip(track));
    EXPECT_EQ(recordings_of("gap --clips no.avi fragmented.mp4").size(), 0U);
    EXPECT_EQ(recordings_of("gap --clips no.avi hevc.mp4").size(), 1U);
    EXPECT_EQ(recordings_of("gap --profile safe --clips hevc.mp4 no.avi").size(), 0U);
    EXPECT_EQ(recordings_of("gap --profile safe --clips fragmented.mp4").at(0).at("frames"), 2);
}

TEST_F(RecorderProgramTest, RetryKeepsTheClipsBeforeTheFailures) {
    const json recordings = recordings_of("retry --transcript transcript");
    EXPECT_EQ(recordings.size(), 2U);

    // Every text is returned once, in the order of sending.
    std::vector<json> sent;
    std::vector<json> returned;
    for (const json& line : transcript()) {
        if (line.at("direction") == "to module") sent.push_back(line.at("number"));
        if (line.at("kind") == "given back") returned.push_back(line.at("number"));
    }
    EXPECT_EQ(sent.size(), 13U);
    EXPECT_EQ(sent, returned);
}

TEST_F(RecorderProgramTest, RestartContinuesInANewProcess) {
    const json recordings = recordings_of("restart --transcript transcript");
    EXPECT_EQ(recordings.size(), 9U);
    const std::string whole = read_file(directory_ / "transcript");
    EXPECT_EQ(std::count(whole.begin(), whole.end(), '\n'), static_cast<std::ptrdiff_t>(transcript().size()));
    EXPECT_NE(whole.find("saving state"), whole.rfind("saving state"))
        << "the transcript contains both processes";
}

/// Masks what differs between runs: GUIDs and present times. The scenario's own times are in 2035.
std::string masked(const std::string& transcript) {
    static const std::regex variable(
        "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[0-9a-f]{4}-[0-9a-f]{12}|"
        R"(202\d-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d{3})?Z|1\d{9})");
    return std::regex_replace(transcript, variable, "*");
}

TEST_F(RecorderProgramTest, TheSameSeedGivesTheSameMessages) {
    std::vector<std::string> transcripts;
    for (const std::string seed : {"11", "11", "12"}) {
        const json recordings =
            recordings_of("many --cameras 4 --gaps 4 --seed " + seed + " --transcript transcript");
        EXPECT_FALSE(recordings.empty());
        transcripts.push_back(masked(read_file(directory_ / "transcript")));
    }
    EXPECT_EQ(transcripts[0], transcripts[1]);
    EXPECT_NE(transcripts[0], transcripts[2]);
}

TEST_F(RecorderProgramTest, ALongRunShowsThatNothingGrows) {
    const Outcome ended = recorder("many --quiet --cameras 4 --operations 40 --out .");
    EXPECT_EQ(ended.status, 0) << ended.err;
    std::vector<std::string> rows = {"texts held when idle"};
#ifndef _WIN32  // Windows does not provide these
    rows.insert(rows.end(), {"descriptors", "threads"});
#endif
    for (const std::string& row : rows) {
        EXPECT_TRUE(std::regex_search(ended.out, std::regex(row + R"( +(\d+) +\1 +\1\n)")))
            << row << ended.out;
    }
    EXPECT_EQ(ended.out.find("->"), std::string::npos);
}

TEST_F(RecorderProgramTest, AFaultyModuleIsNoticed) {
    const std::map<std::string, std::string> cases = {
        {"module info word", "Load left word20 (byte 20 of its output record) as EF, not 10"},
        {"length without NUL", "a document does not end with exactly one NUL"},
        {"write count", "Write left count (byte 28 of its output record) as FE, not 01"},
        {"request without module id", "identifier (byte 26 of a request) is 11, not 51"},
        {"features in the other spelling", "found Vane ID=\"5308416\"/></Pavo>; expected vane"},
        {"text returned twice", "the module returned message 1 twice"},
        {"log on a thread of its own", "the module called the host on a thread of its own"},
        {"text of a failure kept", "the module sent nothing for 1 s; expected the return of message "},
        {"text kept", "; expected the return of message 1"},
        {"does not return from Close", "the module did not return from Close within 1 s"},
        {"request before its log line", "; expected log_msg level="},
    };
    for (const auto& [fault, message] : cases) {
        const Outcome ended =
            recorder("retry --patience 1 --out work --module " + full_path(VARIANT_MODULE),
                     {{"NORVANEPI_FAULT", fault}, {"NORVANEPI_SOUND_MODULE", full_path(NORVANEPI_MODULE)}});
        EXPECT_EQ(ended.status, 1) << fault;
        EXPECT_THAT(ended.err, HasSubstr(message)) << fault;
    }
}

}  // namespace
