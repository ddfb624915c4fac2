#include "store/xml_store.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <stdexcept>

#include "tests/support/fake_time.h"
#include "tests/support/memory_files.h"
#include "tests/support/request_log_server.h"

namespace {

using norvane::DisconnectRecord;
using norvane::Operation;

constexpr const char* kFile = "norvanepi_state.xml";
constexpr const char* kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

DisconnectRecord record(std::uint32_t devices_id, std::uint32_t number, std::int32_t seconds,
                        std::uint32_t channel = 0) {
    return {platform::ticks_of(seconds),
            {.channel = channel, .device_number = number, .devices_id = devices_id}};
}

/// A store with a file in memory. Loaded lists become text, so that a failure shows them.
class XmlStoreTest : public ::testing::Test {
  protected:
    std::string save(std::vector<DisconnectRecord> records, const std::vector<Operation>& operations) {
        store.SaveState(records, operations);
        return files.at(kFile);
    }

    std::string load(const std::string& content) {
        files.put(kFile, content);
        return load();
    }
    std::string load() {
        std::vector<DisconnectRecord> records;
        std::vector<Operation> operations;
        std::string fault;
        try {
            store.LoadState(records, operations);
        } catch (const std::invalid_argument& error) {
            fault = error.what();
        }
        std::ostringstream text;
        for (const auto& [time, key] : records)
            text << key.devices_id << "/" << key.device_number << "/" << key.channel << "@"
                 << platform::seconds_of(time) << " ";
        for (const Operation& operation : operations)
            text << "op " << operation.device.devices_id << "/" << operation.device.number << " #"
                 << int{operation.guid.data[15]} << " " << platform::seconds_of(operation.start_time) << ".."
                 << platform::seconds_of(operation.end_time) << " x" << operation.attempts << " ";
        return text.str() + fault;
    }

    MemoryFiles files;
    FakeClock clock;
    norvane::CXmlStore store{files, clock};
};

constexpr const char* kUnreadable = "error opening or parsing norvanepi.xml";

}  // namespace

TEST_F(XmlStoreTest, WritesTheWholeFileIndented) {
    const Operation operation{{7, 4'000'000'000},
                              RequestLogServer::guid(255),
                              platform::ticks_of(-1),
                              platform::ticks_of(1'527'843'600),
                              -2};
    EXPECT_EQ(save({record(7, 3, 1'527'847'190), record(0xFFFFFFFF, 2'147'483'648, -1)}, {operation}),
              std::string(kDeclaration) +
                  "<Pavo>\n"
                  "    <Devices ID=\"7\">\n"
                  "        <Device Number=\"3\" DisconnectTime=\"1527847190\"/>\n"
                  "    </Devices>\n"
                  "    <Devices ID=\"-1\">\n"
                  "        <Device Number=\"-2147483648\" DisconnectTime=\"-1\"/>\n"
                  "    </Devices>\n"
                  "    <Operations>\n"
                  "        <Operation Devices=\"7\" Device=\"4000000000\" "
                  "GUID=\"00000000-0000-0000-0000-0000000000ff\" "
                  "StartTime=\"-1\" EndTime=\"1527843600\" Attempts=\"-2\"/>\n"
                  "    </Operations>\n"
                  "</Pavo>\n");
}

TEST_F(XmlStoreTest, EmptyListsAreSavedAsAnEmptyRoot) {
    EXPECT_EQ(save({}, {}), std::string(kDeclaration) + "<Pavo/>\n");
    EXPECT_EQ(load(), "");
}

TEST_F(XmlStoreTest, LoadsWhatItSaved) {
    const Operation second{
        {7, 12}, RequestLogServer::guid(175), platform::ticks_of(1), platform::ticks_of(2), -3};
    save({record(9, 4, 70), record(2, 5, 60), record(9, 1, 50)},
         {{{4, 3}, RequestLogServer::guid(9)}, second});
    EXPECT_EQ(load(), "2/5/0@60 9/1/0@50 9/4/0@70 op 4/3 #9 0..0 x0 op 7/12 #175 1..2 x-3 ");
}

TEST_F(XmlStoreTest, UnreadableFilesHaveOneErrorText) {
    EXPECT_EQ(load(), kUnreadable);  // missing
    for (const char* content : {"", " \n", "<Pavo>", "<Pavo></pavo>", "text"})
        EXPECT_EQ(load(content), kUnreadable);
}

TEST_F(XmlStoreTest, OtherRootsAndMissingPartsLoadNothing) {
    EXPECT_EQ(load("<pavo><Devices/></pavo>"), "");
    EXPECT_EQ(load("<Pavo><Devices ID='1'/><Operations><Other/></Operations></Pavo>"), "");
}

TEST_F(XmlStoreTest, WhatWasReadBeforeAnErrorIsKept) {
    const std::string in_one = "<Devices ID='1'><Device ";
    const std::pair<std::string, std::string> rows[] = {
        {"<Devices/>", "invalid or missing plug-in id"},
        {"<Devices ID='0'/>", "invalid or missing plug-in id"},
        {"<Devices ID='x'/>", "invalid or missing plug-in id"},
        {in_one + "DisconnectTime='9'/></Devices>", "invalid or missing device number"},
        {in_one + "Number='-5' DisconnectTime='9'/></Devices>", "invalid or missing device number"},
        {in_one + "Number='5' DisconnectTime='0'/></Devices>", "invalid or missing disconnect time"},
        {in_one + "Number='5'/></Devices>", "invalid or missing disconnect time"},
        {in_one + "Number='5' DisconnectTime='9'/><Note/></Devices>",
         "1/5/0@9 invalid or missing device number"},
        {"<Other/><Devices ID='1'><Note/><Device Number='5' DisconnectTime='9'/></Devices>",
         "1/5/0@9 op 1/2 #10 3..4 x5 "},
    };
    for (const auto& [second, loaded] : rows) {
        EXPECT_EQ(load("<Pavo><Devices ID='7'><Device Number='3' DisconnectTime='50'/></Devices>" + second +
                       "<Operations><Operation GUID='00000000-0000-0000-0000-00000000000A' Devices='1' "
                       "Device='2' StartTime='3' EndTime='4' Attempts='5'/></Operations></Pavo>"),
                  "7/3/0@50 " + loaded);
    }
}

TEST_F(XmlStoreTest, CompleteOperationsOfTheFirstListAreLoaded) {
    using Attributes = std::map<std::string, std::string>;
    const Attributes all = {{"GUID", "00000000-0000-0000-0000-0000000000Af"},
                            {"Devices", "-1"},
                            {"Device", "2"},
                            {"StartTime", "-3"},
                            {"EndTime", "4"},
                            {"Attempts", "9"}};
    const auto element = [](const std::string& name, const Attributes& attributes) {
        std::string text = "<" + name;
        for (const auto& [key, value] : attributes) text.append(" ").append(key).append("='" + value + "'");
        return text + "/>";
    };
    std::string skipped = element("Other", all);
    for (const auto& [name, value] : all) {
        Attributes some = all;
        some.erase(name);
        skipped += element("Operation", some);
        some[name] = "x";
        skipped += element("Operation", some);
    }
    for (const char* guid :
         {"", "0000000000000000000000000000000a", "{00000000-0000-0000-0000-00000000000a}",
          "00000000-0000-0000-0000-00000000000a ", "00000000-0000-0000-0000-00000000000g",
          "00000000-0000-0000-000000000000-000a", "{0000000-0000-0000-0000-00000000000}"}) {
        Attributes other = all;
        other["GUID"] = guid;
        skipped += element("Operation", other);
    }
    EXPECT_EQ(load("<a/><Pavo><Operations>" + skipped + element("Operation", all) +
                   "</Operations><Operations>" + element("Operation", all) + "</Operations></Pavo>"),
              "op 4294967295/2 #175 -3..4 x9 ");
}

TEST_F(XmlStoreTest, CurrentTimeComesFromTheClock) {
    clock.set_seconds(42);
    EXPECT_EQ(store.CurrentTime(), platform::ticks_of(42));
}

TEST_F(XmlStoreTest, ChannelNumbersAreKeptOnlyWithTheOption) {
    const std::string in_file = "<Device Number=\"3\" DisconnectTime=\"50\" Channel=\"4\"/>";
    norvane::CXmlStore with_channels(files, clock, {.channels = true});
    std::vector<DisconnectRecord> records = {record(7, 3, 50, 4), record(7, 3, 60, 0xFFFFFFFF),
                                             record(7, 3, 70)};
    with_channels.SaveState(records, {});
    EXPECT_NE(files.at(kFile).find(in_file), std::string::npos) << files.at(kFile);
    // Without the option the number is ignored, as by older builds.
    EXPECT_EQ(load(), "7/3/0@50 7/3/0@60 7/3/0@70 ");
    std::vector<DisconnectRecord> loaded;
    std::vector<Operation> operations;
    with_channels.LoadState(loaded, operations);
    EXPECT_EQ(loaded, records);
    // Records of older builds, and unreadable numbers, belong to channel 0.
    files.put(kFile,
              "<Pavo><Devices ID='7'><Device Number='3' DisconnectTime='50'/>"
              "<Device Number='3' DisconnectTime='60' Channel='x'/></Devices></Pavo>");
    loaded.clear();
    with_channels.LoadState(loaded, operations);
    EXPECT_EQ(loaded, (std::vector{record(7, 3, 50), record(7, 3, 60)}));
}

TEST_F(XmlStoreTest, FailuresAreKeptOnlyWithTheOption) {
    using norvane::FailureReason;
    norvane::CXmlStore with_failures(files, clock, {.retries = 1});
    const auto operation = [](int number, norvane::Failure failure) {
        return norvane::OperationState{
            {{7, 3}, RequestLogServer::guid(number), platform::ticks_of(1), platform::ticks_of(2), 3},
            {},
            failure};
    };
    norvane::EngineState state{
        .operations = {operation(1, {FailureReason::kReported, -17, platform::ticks_of(50)}),
                       operation(2, {FailureReason::kNoAnswer, 0, platform::ticks_of(60)}), operation(3, {}),
                       operation(4, {FailureReason::kUnusableAnswer, 0, platform::ticks_of(70)})}};
    with_failures.SaveEngineState(state);
    const std::string saved = files.at(kFile);
    for (const char* part : {"Attempts=\"3\" FailedTime=\"50\" Reason=\"reported\" ErrorCode=\"-17\"/>",
                             "Attempts=\"3\" FailedTime=\"60\" Reason=\"no answer\"/>", "Attempts=\"3\"/>",
                             "Attempts=\"3\" FailedTime=\"70\" Reason=\"unusable answer\"/>"})
        EXPECT_NE(saved.find(part), std::string::npos) << saved;
    norvane::EngineState loaded;
    with_failures.LoadEngineState(loaded);
    EXPECT_EQ(loaded.operations, state.operations);
    // Without the option they are ignored, as by older builds.
    EXPECT_EQ(load(), "op 7/3 #1 1..2 x3 op 7/3 #2 1..2 x3 op 7/3 #3 1..2 x3 op 7/3 #4 1..2 x3 ");
    loaded = {};
    store.LoadEngineState(loaded);
    for (const auto& one : loaded.operations) EXPECT_EQ(one.failure, norvane::Failure{});
    // A newer reason, and a missing or unreadable attribute.
    const auto replace = [&](const std::string& from, const std::string& to) {
        std::string changed = saved;
        files.put(kFile, changed.replace(changed.find(from), from.size(), to));
        loaded = {};
        with_failures.LoadEngineState(loaded);
    };
    replace("Reason=\"no answer\"", "Reason=\"other\"");
    EXPECT_EQ(loaded.operations[1].failure.reason, FailureReason::kNone);
    EXPECT_EQ(loaded.operations[1].failure.since, platform::ticks_of(60));
    replace("ErrorCode=\"-17\"", "");
    EXPECT_EQ(loaded.operations[0].failure.error_code, 0);
    replace("FailedTime=\"50\"", "FailedTime=\"x\"");
    EXPECT_EQ(loaded.operations[0].failure, norvane::Failure{});
}
