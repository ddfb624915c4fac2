// The process ends at every call that writes: what it leaves behind can be used.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <iostream>

#include "store/xml_store.h"
#include "tests/faults/retrieval.h"
#include "tests/support/system_calls.h"
#include "tools/reader/verify.h"

using system_calls::Fault;
using system_calls::Kind;
using system_calls::Schedule;
using system_calls::Way;

namespace {

/// Does the work in a child process that the fault ends. False when it came through.
bool is_killed(const Fault& fault, const std::function<void()>& work) {
    const ::pid_t child = ::fork();
    if (child == 0) {
        const Schedule schedule(fault);
        work();
        ::_exit(0);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) return true;
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    return false;
}

/// At every call that changes something on the disk, before it and, where it writes, behind half of it. Gives
/// the count of kills.
std::size_t kill_everywhere(const std::function<void()>& prepare, const std::function<void()>& work,
                            const std::function<void()>& look) {
    std::size_t kills = 0;
    for (const Kind kind : {Kind::kOpen, Kind::kWrite, Kind::kFlush, Kind::kRename, Kind::kRemove,
                            Kind::kSetMode, Kind::kMakeDirectory, Kind::kClose}) {
        for (const Way way : {Way::kKills, Way::kKillsHalf}) {
            if (way == Way::kKillsHalf && kind != Kind::kWrite) continue;
            for (std::uint64_t n = 1; prepare(), is_killed({kind, n, way}, work); ++n) {
                SCOPED_TRACE(std::string(system_calls::kNames[static_cast<std::size_t>(kind)]) + " " +
                             std::to_string(n));
                look();
                ++kills;
            }
        }
    }
    return kills;
}

}  // namespace

TEST(Kills, EveryWholePacketOfAConversionIsFindable) {
    Retrieval retrieval;
    ASSERT_TRUE(retrieval.start());
    retrieval.reserve();
    const std::string path = Retrieval::kRecordings.at("first");
    const std::string frame = in_frame("some frame");
    const std::string source =
        make_clip({.samples = std::vector<std::string>(6, nal("some frame")), .sync = {{1, 4}}});
    std::uint32_t most = 0;
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
            // An index that was not completed does not count its entries yet: they are read as far as they
            // go.
            const std::uint32_t packets = report.frames;
            ASSERT_GE(recording.entries(), packets);
            for (std::uint32_t i = 0; i < packets; ++i) {
                const reader::Entry entry = recording.entry(i).value();
                EXPECT_EQ(data.substr(entry.packet_offset + 32, frame.size()), frame);
                EXPECT_EQ(entry.previous, i - 1);  // of the first: kNoEntry
                EXPECT_TRUE(i + 1 == packets || entry.next == i + 1);
            }
            most = std::max(most, packets);
        });
    EXPECT_EQ(most, 6U);
    std::cout << "kills during a conversion: " << kills << "\n";
}

TEST(Kills, StateFileIsTheOldOrTheNewOne) {
    const WorkingDirectory directory;
    const std::string state = "norvanepi_state.xml";
    const std::string old =
        "<Pavo><Devices ID='9'><Device Number='1' DisconnectTime='500'/></Devices></Pavo>";
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
    EXPECT_EQ(seen, std::set{old});  // the rename is the last call, and either done or not
    // Whatever a killed save left behind does not keep the next one from its work.
    save();
    EXPECT_EQ(read_file(state), fresh);
    std::cout << "kills during a save: " << kills << "\n";
}
