// SIGKILL at each call that writes: the files that remain are usable.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <iostream>

#include "store/journaled_store.h"
#include "tests/faults/retrieval.h"
#include "tests/support/system_calls.h"
#include "tools/ps/command.h"
#include "tools/reader/verify.h"

using system_calls::Effect;
using system_calls::Fault;
using system_calls::FaultInjection;
using system_calls::Kind;

namespace {

/// Runs `work` in a child process with the fault. True if the fault killed it.
bool is_killed(const Fault& fault, const std::function<void()>& work) {
    const ::pid_t child = ::fork();
    if (child == 0) {
        const FaultInjection injection(fault);
        work();
        ::_exit(0);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) return true;
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    return false;
}

/// Kills the process at each call of `work` that changes files: before the call and, for a write, after half
/// of it. Returns the number of kills.
std::size_t kill_everywhere(const std::function<void()>& prepare, const std::function<void()>& work,
                            const std::function<void()>& check, bool all_threads = false) {
    std::size_t kills = 0;
    for (const Kind kind :
         {Kind::kOpen, Kind::kWrite, Kind::kFlush, Kind::kRename, Kind::kRemove, Kind::kSetMode,
          Kind::kMakeDirectory, Kind::kLink, Kind::kTruncate, Kind::kClose}) {
        for (const Effect effect : {Effect::kKill, Effect::kKillAfterHalf}) {
            if (effect == Effect::kKillAfterHalf && kind != Kind::kWrite) continue;
            for (std::uint64_t n = 1;
                 prepare(), is_killed({.kind = kind, .at = n, .effect = effect, .all_threads = all_threads},
                                      work);
                 ++n) {
                SCOPED_TRACE(std::string(system_calls::kNames[static_cast<std::size_t>(kind)]) + " " +
                             std::to_string(n));
                check();
                ++kills;
            }
        }
    }
    return kills;
}

}  // namespace

/// Without and with the safe profile.
class ConversionKills : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(SafeProfile, ConversionKills, testing::Bool());

TEST_P(ConversionKills, IndexListsEveryCompletePacket) {
    Retrieval retrieval(GetParam() ? norvane::safe_options() : norvane::Options{});
    ASSERT_TRUE(retrieval.start());
    retrieval.reserve();
    const std::string path = Retrieval::kRecordings.at("first");
    const std::string frame = in_frame("some frame");
    const std::string source = make_clip({.samples = std::vector<std::string>(6, nal("some frame")),
                                          .sync = {{1, 4}},
                                          .sets = GetParam() ? std::optional(AvcSets{}) : std::nullopt});
    std::uint32_t max_packets = 0;
    const std::size_t kills = kill_everywhere(
        [&] {
            boost::filesystem::remove_all("out");
            write_file("first.mp4", source);
        },
        [&] { retrieval.convert_first(); },
        [&] {
            const std::string data = read_file(path);
            if (data.size() < kPacketsAt) return;
            reader::Recording recording(path);
            const reader::Report report = reader::verify(recording);
            EXPECT_TRUE(report.verified() || report.repairable());
            // The header of an unfinished index does not contain the number of entries. All complete ones are
            // read.
            const std::uint32_t packets = report.frames;
            ASSERT_GE(recording.entries(), packets);
            for (std::uint32_t i = 0; i < packets; ++i) {
                const reader::Entry entry = recording.entry(i).value();
                EXPECT_EQ(data.substr(entry.packet_offset + 32, frame.size()), frame);
                EXPECT_EQ(entry.previous, i - 1);  // kNoEntry for the first
                EXPECT_TRUE(i + 1 == packets || entry.next == i + 1);
            }
            max_packets = std::max(max_packets, packets);
        });
    EXPECT_EQ(max_packets, 6U);
    std::cout << "kills during a conversion: " << kills << "\n";
}

/// With the safe profile, a start after a kill finds the state after a message or before it, and no file that
/// another start would have to ignore.
TEST(Kills, SafeProfileLosesNothingDuringAWholeRetrieval) {
    const auto found = [] {
        FakeClock clock;
        norvane::JournaledStore store(platform::system_files(), clock, norvane::safe_options(),
                                      [](std::int32_t, const std::string& text) { ADD_FAILURE() << text; });
        norvane::EngineState state;
        store.LoadEngineState(state);
        std::ostringstream text;
        for (const auto& [time, channel] : state.gaps)
            text << " gap " << channel.devices_id << "@" << platform::seconds_of(time);
        for (const norvane::OperationState& operation : state.operations)
            text << " operation " << operation.device.devices_id << " x" << operation.attempts;
        return text.str();
    };
    std::set<std::string> steps;
    {
        Retrieval whole(norvane::safe_options());
        whole.after_message = [&] { steps.insert(found()); };
        steps.insert(found());
        whole.run();
    }
    EXPECT_GT(steps.size(), 5U);

    Retrieval retrieval(norvane::safe_options());
    std::set<std::string> seen;
    const std::size_t kills = kill_everywhere(
        [&] {
            boost::filesystem::remove_all("out");
            boost::filesystem::remove(norvane::Journal::kFileName);
            Retrieval::write_files();
        },
        [&] { retrieval.run(); },
        [&] {
            const std::string state = found();
            EXPECT_TRUE(steps.contains(state)) << state;
            seen.insert(state);
        });
    EXPECT_EQ(seen, steps);  // the last call removes the journal
    std::cout << "kills during a retrieval with the safe profile: " << kills << "\n";
}

TEST(Kills, StateFileStaysCompleteAndCanBeSavedAgain) {
    const WorkingDirectory directory;
    const std::string state = Retrieval::kState;
    const std::string old = Retrieval::kOldState;
    FakeClock clock;
    std::vector<norvane::DisconnectRecord> records{
        {platform::ticks_of(700), {.device_number = 3, .devices_id = 7}}};
    norvane::CXmlStore store(platform::system_files(), clock);
    const auto save = [&] { store.SaveState(records, {}); };
    save();
    const std::string fresh = read_file(state);
    std::set<std::string> seen;
    const std::size_t kills =
        kill_everywhere([&] { write_file(state, old); }, save, [&] { seen.insert(read_file(state)); });
    EXPECT_EQ(seen, std::set{old});  // the rename is the last call
    // Files that a killed save left do not prevent the next one.
    save();
    EXPECT_EQ(read_file(state), fresh);
    std::cout << "kills during a save: " << kills << "\n";
}

TEST(Kills, JournalIsTheStateBeforeOrAfterAnUpdate) {
    const WorkingDirectory directory;
    std::vector<std::string> lines;
    const auto log = [&lines](std::int32_t /*level*/, const std::string& text) { lines.push_back(text); };
    norvane::EngineState state;
    const auto grow = [&state](std::uint32_t number) {
        state.gaps.push_back(
            {platform::ticks_of(7), {.channel = number, .device_number = 3, .devices_id = 7}});
        state.connected = {{.channel = number, .device_number = 4, .devices_id = 7}};
        return state;
    };
    const std::vector<norvane::EngineState> states = {grow(1), grow(2), grow(3)};
    std::set<std::size_t> seen;
    const std::size_t kills = kill_everywhere(
        [&] {
            boost::filesystem::remove(norvane::Journal::kFileName);
            norvane::Journal(platform::system_files(), log).update(states[0], 0);
        },
        [&] {  // replaces the file, then appends
            norvane::Journal journal(platform::system_files(), log);
            for (const auto& each : {states[1], states[2]}) journal.update(each, 0);
        },
        [&] {
            const auto recovered = norvane::Journal(platform::system_files(), log).read();
            ASSERT_TRUE(recovered);
            const auto found = std::ranges::find(states, recovered->state);
            ASSERT_NE(found, states.end());
            seen.insert(static_cast<std::size_t>(found - states.begin()));
        });
    EXPECT_EQ(seen, (std::set<std::size_t>{0, 1, 2}));
    EXPECT_TRUE(lines.empty());
    std::cout << "kills during updates of the journal: " << kills << "\n";
}

/// Two wrong fields, a tail and an index that has to be replaced.
TEST(Kills, RepairLeavesARecordingThatAnotherRepairCompletesAndKeepsItsBackups) {
    Retrieval retrieval;
    ASSERT_TRUE(retrieval.start());
    retrieval.reserve();
    write_file("first.mp4", make_clip({.samples = std::vector<std::string>(6, nal("some frame"))}));
    retrieval.convert_first();
    const std::string path = Retrieval::kRecordings.at("first");
    const std::string whole = read_file(path);
    const std::string sound = read_file(path + "i");
    std::string wrong = whole;
    wrong.at(kPacketsAt + PesHeader::Date::offset + 1) ^= 2;
    wrong.at(kPacketsAt + PesHeader::Program::offset) ^= 1;
    const std::string tail = "incomplete";
    std::string stale = sound;
    stale.back() ^= 1;

    const std::string folder = boost::filesystem::path(path).parent_path().string();
    for (const bool no_backup : {false, true}) {
        const auto repair = [&] {
            ps_tool::Options options;
            options.paths = {path};
            options.no_backup = no_backup;
            return ps_tool::run_repair(options);
        };
        const std::map<std::string, std::string> backups = {
            {path + "i.bak", stale}, {path + ".tail-" + std::to_string(whole.size()) + ".bak", tail}};
        std::set<std::string> seen;
        const std::size_t kills = kill_everywhere(
            [&] {
                boost::filesystem::remove_all(folder);
                boost::filesystem::create_directories(folder);
                write_file(path, wrong + tail);
                write_file(path + "i", stale);
            },
            [&] { (void)repair(); },
            [&] {
                const std::string data = read_file(path);
                const std::string index = read_file(path + "i");
                seen.insert(data + index);
                const bool kept = no_backup || index == sound || index == stale;
                EXPECT_TRUE(kept && (data.size() == whole.size() || data.ends_with(tail)));
                testing::internal::CaptureStdout();
                const int status = repair();
                const std::string shown = testing::internal::GetCapturedStdout();
                EXPECT_EQ(status, 0) << shown;
                EXPECT_EQ(read_file(path), whole);
                EXPECT_EQ(read_file(path + "i"), sound);
                EXPECT_FALSE(boost::filesystem::exists(path + "i.new"));
                if (no_backup) return;
                for (const auto& [backup, content] : backups) EXPECT_EQ(read_file(backup), content);
                EXPECT_TRUE(boost::filesystem::exists(path + ".fields.bak"));
            },
            true);
        EXPECT_GT(seen.size(), 3U);
        std::cout << "kills during a repair: " << kills << "\n";
    }
}
