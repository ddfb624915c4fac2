#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "store/journaled_store.h"
#include "tests/support/fake_time.h"
#include "tests/support/memory_files.h"

namespace {

using norvane::EngineState;
using norvane::OperationState;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kFile = "norvanepi_journal";
constexpr const char* kStateFile = "norvanepi_state.xml";

norvane::ChannelKey channel(std::uint32_t number) {
    return {.channel = number, .device_number = 3, .devices_id = 0xFFFF0007};
}

OperationState operation(std::uint8_t guid_end, std::int32_t start, std::int32_t attempts = 0) {
    OperationState operation;
    operation.device = {7, 3};
    operation.start_time = platform::ticks_of(start);
    operation.end_time = platform::ticks_of(99);
    operation.attempts = attempts;
    operation.guid.data[15] = guid_end;
    return operation;
}

std::string text_of(const EngineState& state) {
    std::ostringstream text;
    for (const auto& gap : state.gaps)
        text << "gap " << gap.channel.channel << "@" << platform::seconds_of(gap.time) << " ";
    for (const OperationState& each : state.operations)
        text << "op " << int{each.guid.data[15]} << "@" << platform::seconds_of(each.start_time) << " x"
             << each.attempts << " ";
    for (const auto& key : state.connected) text << "connected " << key.channel << " ";
    return text.str();
}

class JournalTest : public ::testing::Test {
  protected:
    [[nodiscard]] norvane::Journal journal() {
        return {files, [this](std::int32_t level, const std::string& text) {
                    lines.push_back(std::to_string(level) + " " + text);
                }};
    }
    /// What a start would find.
    [[nodiscard]] std::string found() {
        const auto recovered = journal().read();
        return recovered ? text_of(recovered->state) + "at " +
                               std::to_string(platform::seconds_of(recovered->alive))
                         : "nothing";
    }

    MemoryFiles files;
    std::vector<std::string> lines;
};

const EngineState kFirst{.gaps = {{platform::ticks_of(40), channel(1)}},
                         .operations = {operation(1, 10), operation(2, 20)},
                         .connected = {channel(0), channel(2)}};
const EngineState kSecond{
    .gaps = {{platform::ticks_of(50), channel(2)}, {platform::ticks_of(40), channel(1)}},
    .operations = {operation(1, 15, 1), operation(2, 20), operation(3, 30)},
    .connected = {channel(0)}};
const EngineState kThird{.gaps = {{platform::ticks_of(50), channel(2)}},
                         .operations = {operation(1, 15, 2), operation(3, 30)},
                         .connected = {channel(1), channel(0), channel(0)}};
constexpr const char* kFirstText = "gap 1@40 op 1@10 x0 op 2@20 x0 connected 0 connected 2 at 100";
constexpr const char* kSecondText = "gap 1@40 gap 2@50 op 1@15 x1 op 2@20 x0 op 3@30 x0 connected 0 at 101";
constexpr const char* kThirdText = "gap 2@50 op 1@15 x2 op 3@30 x0 connected 0 connected 1 at 102";

}  // namespace

TEST_F(JournalTest, EveryPrefixOfTheFileIsTheStateBeforeOrAfterAnUpdate) {
    EXPECT_EQ(found(), "nothing");
    auto writer = journal();
    writer.update(kFirst, platform::ticks_of(100));
    const std::size_t first = files.at(kFile).size();
    writer.update(kSecond, platform::ticks_of(101));
    const std::size_t second = files.at(kFile).size();
    writer.update(kThird, platform::ticks_of(102));
    writer.update(kThird, platform::ticks_of(112));
    const std::string whole = files.at(kFile);
    EXPECT_LT(whole.size(), second + 700);  // only the changes, and one short line

    for (std::size_t size = 0; size <= whole.size(); ++size) {
        files.put(kFile, whole.substr(0, size));
        const std::string text = found();
        const char* expected = size < first ? "nothing" : size < second ? kFirstText : kSecondText;
        if (size == whole.size()) expected = "gap 2@50 op 1@15 x2 op 3@30 x0 connected 0 connected 1 at 112";
        ASSERT_TRUE(text == expected || text == kThirdText) << size << ": " << text;
    }
    EXPECT_THAT(lines, IsEmpty());
    journal().remove();
    EXPECT_EQ(found(), "nothing");
}

TEST_F(JournalTest, DamagedLinesAreReportedAndTheOthersUsed) {
    auto writer = journal();
    writer.update(kFirst, platform::ticks_of(100));
    const std::size_t first = files.at(kFile).size();
    writer.update(kSecond, platform::ticks_of(101));
    const std::string whole = files.at(kFile);
    std::set<std::string> results;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x10);
        files.put(kFile, damaged);
        lines.clear();
        const std::string text = found();
        // Each half is intact, apart from one line of it.
        if (at > first) {
            ASSERT_THAT(text, HasSubstr("op 2@20 x0")) << at;
        }
        if (at > 0 && at < first) {
            ASSERT_THAT(text, HasSubstr("op 3@30 x0")) << at;
        }
        results.insert(text);
        if (damaged.back() != '\n' && at + 1 == whole.size()) continue;  // an interrupted line
        ASSERT_THAT(lines,
                    ElementsAre("75 NorVane - 'norvanepi_journal' is damaged; its intact lines are used, and "
                                "it is kept as 'norvanepi_journal.damaged'."));
        ASSERT_EQ(files.at("norvanepi_journal.damaged"), damaged);
    }
    EXPECT_LE(results.size(), 8U);
}

TEST_F(JournalTest, FailureIsReportedOnceAndTheNextUpdateWritesEverything) {
    auto writer = journal();
    writer.update(kFirst, platform::ticks_of(100));
    files.output.fail_at = files.output.calls + 1;
    files.output.partly = true;
    writer.update(kSecond, platform::ticks_of(101));
    EXPECT_EQ(found(), kFirstText);
    files.unopenable.insert(kFile);
    writer.update(kSecond, platform::ticks_of(102));
    EXPECT_THAT(lines, ElementsAre("75 NorVane - 'norvanepi_journal' cannot be written."));
    files.unopenable.clear();
    writer.update(kThird, platform::ticks_of(102));
    EXPECT_EQ(found(), kThirdText);
    EXPECT_EQ(lines.size(), 1U);
    files.output.fail_at = files.output.calls + 1;
    writer.update(kFirst, platform::ticks_of(103));
    EXPECT_EQ(lines.size(), 2U);
}

TEST_F(JournalTest, FileStaysSmallWhenOnlyTimePasses) {
    auto writer = journal();
    for (std::int32_t heartbeat = 0; heartbeat < 20'000; ++heartbeat) {
        writer.update(kFirst, platform::ticks_of(heartbeat));
        ASSERT_LE(files.at(kFile).size(), 64U * 1024);
    }
    EXPECT_THAT(found(), HasSubstr("at 19999"));
}

TEST_F(JournalTest, ManyEntriesAreKept) {
    EngineState state;
    for (std::uint32_t number = 0; number < 1'234; ++number) {
        state.gaps.push_back({platform::ticks_of(1), channel(number)});
        state.connected.push_back(channel(5'000 + number));
        state.operations.push_back(operation(static_cast<std::uint8_t>(number), 5));
        state.operations.back().guid.data[0] = static_cast<std::uint8_t>(number >> 8);
    }
    journal().update(state, platform::ticks_of(9));
    EXPECT_EQ(journal().read()->state, state);
}

/// The store with its journal, as the engine and the worker use it.
class JournaledStoreTest : public JournalTest {
  protected:
    [[nodiscard]] norvane::JournaledStore store() {
        return {files,
                clock,
                {.journal = true, .channels = true},
                [this](std::int32_t level, const std::string& text) {
                    lines.push_back(std::to_string(level) + " " + text);
                }};
    }
    static std::string load(norvane::JournaledStore& from) {
        EngineState state;
        try {
            from.LoadEngineState(state);
        } catch (const std::invalid_argument&) {
            return "no state";
        }
        const std::string text = text_of(state);
        EngineState nothing;
        from.SaveEngineState(nothing);
        return text;
    }

    FakeClock clock;
};

TEST_F(JournaledStoreTest, ConnectedChannelsAreLostFromTheLastSignOfLife) {
    clock.set_seconds(1'000);
    auto before = store();
    EXPECT_EQ(load(before), "no state");
    before.keep(true, [] { return kFirst; });
    auto after = store();
    EXPECT_EQ(load(after), "gap 1@40 gap 0@990 gap 2@990 op 1@10 x0 op 2@20 x0 ");
    // Killed again before the first update: what was loaded is in the journal, and the state file is empty.
    auto again = store();
    EXPECT_EQ(load(again), "gap 0@990 gap 1@40 gap 2@990 op 1@10 x0 op 2@20 x0 ");
}

TEST_F(JournaledStoreTest, FilesThatCannotBeReadAreKept) {
    files.put(kFile, "journal");
    files.put(kStateFile, "state");
    files.unopenable = {kFile};
    auto started = store();
    EXPECT_EQ(load(started), "no state");
    EXPECT_EQ(files.at("norvanepi_journal.damaged"), "journal");
    EXPECT_EQ(files.at("norvanepi_state.xml.damaged"), "state");
    EXPECT_THAT(lines, ElementsAre(HasSubstr("'norvanepi_journal' cannot be read; it is kept as"),
                                   HasSubstr("'norvanepi_state.xml' cannot be read; it is kept as")));
}

/// A kill would lose what is neither in the state file nor in the journal.
TEST_F(JournaledStoreTest, StateFileIsEmptiedOnlyOnceTheJournalIsWritten) {
    const std::string saved =
        "<Pavo><Devices ID='7'><Device Number='3' DisconnectTime='50'/></Devices></Pavo>";
    files.put(kStateFile, saved);
    files.unopenable = {kFile};  // it is created, but cannot be opened for appending
    auto started = store();
    EXPECT_EQ(load(started), "gap 0@50 ");
    EXPECT_EQ(files.at(kStateFile), saved);
}

TEST_F(JournaledStoreTest, StateFileDecidesAfterAnOrderlyEnd) {
    auto before = store();
    (void)load(before);
    before.keep(true, [] { return kFirst; });
    EngineState end{.gaps = {{platform::ticks_of(70), channel(1)}}};
    end.gaps[0].channel.devices_id = 7;
    before.SaveEngineState(end);
    EXPECT_FALSE(files.has(kFile));
    auto after = store();
    EXPECT_EQ(load(after), "gap 1@70 ");
    EXPECT_TRUE(files.has(kFile));
}

/// By default such a record ends the load (XmlStoreTest).
TEST_F(JournaledStoreTest, BadRecordInTheStateFileCostsOnlyItself) {
    auto before = store();
    (void)load(before);
    // A loss without a time, and a device with numbers that the file shows as negative.
    EngineState end{.gaps = {{platform::ticks_of(-11), channel(1)}, {platform::ticks_of(70), channel(2)}},
                    .operations = {operation(1, -11)}};
    before.SaveEngineState(end);
    auto after = store();
    EXPECT_EQ(load(after), "gap 1@-11 gap 2@70 op 1@-11 x0 ");
    EXPECT_THAT(lines, IsEmpty());
    auto last = store();
    files.remove_file(kFile);
    files.put(kStateFile,
              "<Pavo><Devices><Device Number='3' DisconnectTime='50'/></Devices><Devices ID='7'>"
              "<Device Number='x' DisconnectTime='50'/><Device Number='3'/>"
              "<Device Number='3' DisconnectTime='60'/></Devices><Operations><Operation/><Operation "
              "GUID='00000000-0000-0000-0000-000000000002' Devices='1' Device='2' StartTime='3' EndTime='4' "
              "Attempts='5'/></Operations></Pavo>");
    EXPECT_EQ(load(last), "gap 0@60 op 2@3 x5 ");
    EXPECT_THAT(
        lines,
        ElementsAre("75 NorVane - 'norvanepi_state.xml' has unreadable elements (4); the others are used."));
}

TEST_F(JournaledStoreTest, ChangesAreOnTheDiskWithinASecondAndSignsOfLifeWithinTen) {
    auto kept = store();
    (void)load(kept);
    std::vector<int> updates;  // in tenths of a second
    for (int tenth = 0; tenth < 300; ++tenth) {
        clock.set(platform::ticks_of(1'000) + tenth * platform::kTicksPerSecond / 10);
        const bool changed = tenth == 1 || tenth == 2 || tenth == 150;
        kept.keep(changed, [&] { return updates.push_back(tenth), kFirst; });
    }
    EXPECT_THAT(updates, ElementsAre(0, 8, 106, 150, 248));
}
