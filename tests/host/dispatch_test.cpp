#include "host/dispatch.h"

#include <gtest/gtest.h>
#include <boost/uuid/uuid_io.hpp>
#include <sstream>

#include "platform/clock.h"

namespace {

using norvane::Guid, platform::Path, platform::Ticks;

/// Records each event as one short line; times are in seconds.
class RecordingSink final : public norvane::IEventSink {
  public:
    void OnDeviceSupported(std::int32_t devices_id, std::int32_t number) override {
        note("supported ", devices_id, "/", number);
    }
    void OnStorageInfo(const Guid& guid, std::uint32_t gigabytes) override {
        note("storage ", guid, " ", gigabytes, " GB");
    }
    void OnChannelState(const norvane::ChannelKey* key, std::int32_t state, const void* unused,
                        Ticks time) override {
        EXPECT_EQ(unused, nullptr);
        note("channel ", key->devices_id, "/", key->device_number, " ", key->channel, " state ", state,
             " at ", time);
    }
    void OnClipRetrieved(Guid guid, Path file, std::int32_t type, Ticks start, Ticks stop, std::int32_t input,
                         std::string name) override {
        note("clip ", guid, " ", file, " type ", type, " ", start, "..", stop, " input ", input, " '", name,
             "'");
    }
    void OnRetrievalDone(Guid guid) override { note("done ", guid); }
    void OnRetrievalFailed(Guid guid, std::int32_t error, Ticks start) override {
        note("failed ", guid, " ", error, " at ", start);
    }
    void OnReservation(Guid guid, const Path& temporary, const Path& output) override {
        note("reservation ", guid, " ", temporary, " ", output);
    }
    void OnDeviceRemoved(std::int32_t devices_id, std::int32_t number) override {
        note("removed ", devices_id, "/", number);
    }

    bool OnUnusableAnswer(const std::optional<Guid>& guid, const std::string& reason) override {
        if (counts_unusable) note("unusable ", guid ? to_string(*guid).substr(32) : "", " ", reason);
        return counts_unusable;
    }

    std::ostringstream lines;
    bool counts_unusable = false;

  private:
    template <typename... Parts>
    void note(const Parts&... parts) {
        (lines << ... << shown(parts)) << "\n";
    }
    template <typename Part>
    static const Part& shown(const Part& part) {
        return part;
    }
    static std::string shown(const Guid& guid) { return to_string(guid).substr(32); }
    static std::string shown(const Path& path) { return "[" + platform::narrow_text(path) + "]"; }
    static Ticks shown(const Ticks& time) {
        EXPECT_EQ(time % platform::kTicksPerSecond, 0);
        return time / platform::kTicksPerSecond;
    }
};

/// Shows second 777, and one second more at each further call.
class SteppingClock final : public platform::Clock {
  public:
    [[nodiscard]] Ticks now() const override { return platform::ticks_of(seconds_++); }

  private:
    mutable std::int32_t seconds_ = 777;
};

std::string dispatch(const std::string& xml, bool counts_unusable = false) {
    tinyxml2::XMLDocument document;
    EXPECT_EQ(document.Parse(xml.data(), xml.size()), tinyxml2::XML_SUCCESS) << xml;
    const SteppingClock clock;
    RecordingSink sink;
    sink.counts_unusable = counts_unusable;
    DispatchHostMessage(document, sink, clock);
    return sink.lines.str();
}

std::string pavo(const std::string& inside) {
    return dispatch("<Pavo>" + inside + "</Pavo>");
}

/// A document with device 7/3, which has the given attributes and content.
std::string device(const std::string& attributes, const std::string& inside = "") {
    return pavo("<Devices ID='7'><Device Number='3' " + attributes + ">" + inside + "</Device></Devices>");
}

const std::string kGuid = "GUID='00000000-0000-0000-0000-00000000000a'";

std::string encoder(const std::string& attributes, const std::string& channel) {
    return device("", "<Codec><Encoder " + attributes + ">" + channel + "</Encoder></Codec>");
}

std::string storage(const std::string& attributes, const std::string& inside = "") {
    return device("", "<Storage " + attributes + ">" + inside + "</Storage>");
}

std::string context(const std::string& attributes) {
    return storage(kGuid, "<Input><Context " + attributes + "/></Input>");
}

std::string clip(const std::string& attributes) {
    return device("", "<Input><Context><Storage " + attributes + "/></Context></Input>");
}

}  // namespace

TEST(Dispatch, DocumentsOfOtherShapesHaveNoEffect) {
    const std::string supported = "<Devices ID='7'><Device Number='3' NorVaneSupported='1'/></Devices>";
    EXPECT_EQ(dispatch("<pavo>" + supported + "</pavo>"), "");
    EXPECT_EQ(pavo(""), "");
    EXPECT_EQ(pavo("<Devices ID='7'/>"), "");
    EXPECT_EQ(pavo("<Devices ID='7'><Camera Number='3' NorVaneSupported='1'/></Devices>"), "");
    EXPECT_EQ(dispatch("<a/><Pavo>" + supported + "</Pavo>"), "supported 7/3\n");
}

TEST(Dispatch, SupportIsExactlyOneWithBothNumbers) {
    EXPECT_EQ(device("NorVaneSupported='1'"), "supported 7/3\n");
    EXPECT_EQ(device("NorVaneSupported='01'"), "");
    EXPECT_EQ(device("NorVaneSupported='true'"), "");
    EXPECT_EQ(pavo("<Devices ID='0'><Device Number='3' NorVaneSupported='1'/></Devices>"), "");
    EXPECT_EQ(pavo("<Devices ID='7'><Device Number='x' NorVaneSupported='1'/></Devices>"), "");
    EXPECT_EQ(pavo("<Devices ID='-1'><Device Number='-2' NorVaneSupported='1'/></Devices>"),
              "supported -1/-2\n");
}

TEST(Dispatch, PartsOfADeviceHaveAFixedOrder) {
    EXPECT_EQ(device("NorVaneSupported='1'",
                     "<Input><Context><Storage " + kGuid +
                         " RetrievalStatus='3' FileName='c' Start='1'/>"
                         "</Context></Input><Storage " +
                         kGuid +
                         " RetrievalStatus='3'/>"
                         "<Codec><Encoder Number='0'><Channel Number='4' Connected='1'/></Encoder></Codec>"),
              "supported 7/3\nchannel 7/3 4 state 1 at -1\ndone 000a\n"
              "clip 000a [c] type 1 1..777 input 0 'input 1'\n");
}

TEST(Dispatch, ElementsAfterADeviceAreReadAsDevices) {
    EXPECT_EQ(
        pavo("<Devices ID='7'><Other Number='1' NorVaneSupported='1'/>"
             "<Device Number='2' NorVaneSupported='1'/><Other Number='3' NorVaneSupported='1'/></Devices>"),
        "supported 7/2\nsupported 7/3\n");
}

TEST(Dispatch, EmptyAddressRemovesTheDeviceAndEndsTheDocument) {
    const std::string reservation = "<Storage><Reservation " + kGuid + " TmpDir='t' OutDir='o'/></Storage>";
    EXPECT_EQ(
        pavo("<Devices ID='7'><Device Number='1' NorVaneSupported='1' ipAddress='10.0.0.1'/>"
             "<Device Number='2' NorVaneSupported='1' ipAddress=''/><Device Number='3' NorVaneSupported='1'/>"
             "</Devices>" +
             reservation),
        "supported 7/1\nremoved 7/2\n");
}

TEST(Dispatch, ChannelChanges) {
    EXPECT_EQ(encoder("Number='0'", "<Channel Number='4' Connected='1' Time='90'/>"),
              "channel 7/3 4 state 1 at 90\n");
    EXPECT_EQ(encoder("Number='0'", "<Channel Number='4' Connected='0' Time='90'/>"),
              "channel 7/3 4 state 2 at 90\n");
    EXPECT_EQ(encoder("Number='0'", "<Channel Connected='2'/>"), "channel 7/3 4294967295 state 2 at -1\n");
    EXPECT_EQ(encoder("Number='0'", "<Channel Number='4' Time='90'/>"), "");
    EXPECT_EQ(encoder("Number='0'", "<Channel Connected='yes'/>"), "");
    EXPECT_EQ(encoder("Number='1'", "<Channel Connected='1'/>"), "");
    EXPECT_EQ(encoder("", "<Channel Connected='1'/>"), "");
    EXPECT_EQ(encoder("Number='0'", ""), "");
    // Only the first element of each name is entered.
    const std::string good = "<Encoder Number='0'><Channel Connected='1'/></Encoder></Codec>";
    EXPECT_EQ(device("", "<Codec/><Codec>" + good), "");
    EXPECT_EQ(device("", "<Codec><Encoder Number='1'/>" + good), "");
}

TEST(Dispatch, RetrievalStatus) {
    EXPECT_EQ(storage(kGuid + " RetrievalStatus='3'"), "done 000a\n");
    EXPECT_EQ(storage(kGuid + " RetrievalStatus='4' ErrorCode='12' FailedClipStartTime='99'"),
              "failed 000a 12 at 99\n");
    EXPECT_EQ(storage(kGuid + " RetrievalStatus='2'"), "");
    EXPECT_EQ(storage(kGuid + " RetrievalStatus='x4'"), "");
    EXPECT_EQ(storage(kGuid + " RetrievalStatus=' 4x' ErrorCode='0x1F' FailedClipStartTime='-12'"),
              "failed 000a 31 at -12\n");
    EXPECT_EQ(storage(kGuid), "");
    EXPECT_EQ(storage("RetrievalStatus='3'", "<Input><Context Number='0'/></Input>"), "");
}

TEST(Dispatch, StorageInformationInDocumentOrder) {
    const std::string good = "Number='0' Recordings='1' OldestStart='1' NewestEnd='2' ";
    EXPECT_EQ(context(good + "TotalSize='100'"), "storage 000a 1 GB\n");
    EXPECT_EQ(context(good + "TotalSize='767'"), "storage 000a 1 GB\n");
    EXPECT_EQ(context(good + "TotalSize='768'"), "storage 000a 2 GB\n");
    EXPECT_EQ(context(good + "TotalSize='1000'"), "storage 000a 2 GB\n");
    EXPECT_EQ(context(good + "TotalSize='0'"), "storage 000a 1 GB\n");
    EXPECT_EQ(context(good + "TotalSize='2147483647'"), "storage 000a 1 GB\n");  // wraps to 510
    EXPECT_EQ(context(good + "TotalSize='-300'"), "storage 000a 4194303 GB\n");
    EXPECT_EQ(context(good), "");
    EXPECT_EQ(context("Number='0' Recordings='1' TotalSize='9' OldestStart='1'"), "");
    EXPECT_EQ(context("Number='0' Recordings='0' TotalSize='9'"), "done 000a\n");
    EXPECT_EQ(context("Number='0'"), "done 000a\n");
    EXPECT_EQ(context("Number='0' Recordings='-4'"), "done 000a\n");
    EXPECT_EQ(context("Number='1'"), "");
    EXPECT_EQ(context("Recordings='0'"), "");
    EXPECT_EQ(
        storage(
            kGuid + " RetrievalStatus='4'",
            "<Input><Context Number='0'/><Other Number='0'/><Context Number='0'/></Input><Input>"
            "<Context Number='0' Recordings='2' TotalSize='1000' OldestStart='1' NewestEnd='2'/></Input>"),
        "failed 000a -1 at -1\ndone 000a\ndone 000a\nstorage 000a 2 GB\n");
}

TEST(Dispatch, ClipNotifications) {
    const std::string required = kGuid + " RetrievalStatus='3' FileName='\"c.mp4\" x' ";
    EXPECT_EQ(clip(required), "clip 000a [c.mp4] type 1 777..777 input 0 'input 1'\n");
    EXPECT_EQ(clip(required + "Start='5' Stop='-1' InputNumber='2' InputName='' Type='3'"),
              "clip 000a [c.mp4] type 3 5..777 input 2 ''\n");
    EXPECT_EQ(clip(required + "Start='-2' Stop='x' InputNumber='-3' InputName='door' Type='?'"),
              "clip 000a [c.mp4] type 1 -2..777 input 0 'door'\n");
    EXPECT_EQ(clip(kGuid + " RetrievalStatus='3'"), "");
    EXPECT_EQ(clip(kGuid + " RetrievalStatus='4' FileName='c'"), "");
    EXPECT_EQ(clip(kGuid + " FileName='c'"), "");
    EXPECT_EQ(clip("RetrievalStatus='3' FileName='c'"), "");
}

TEST(Dispatch, ReservationRepliesAreChildrenOfTheRoot) {
    const std::string reply =
        "<Storage><Reservation " + kGuid + " TmpDir=' t \"&amp;' OutDir='/o/'/></Storage>";
    EXPECT_EQ(pavo(reply), "reservation 000a [ t \"&] [/o/]\n");
    EXPECT_EQ(device("", reply), "");
    EXPECT_EQ(pavo("<Storage><Reservation " + kGuid + " TmpDir='t'/></Storage>"), "");
    EXPECT_EQ(pavo("<Storage><Reservation TmpDir='t' OutDir='o'/></Storage>"), "");
    EXPECT_EQ(pavo("<Storage/>"), "");
}

TEST(Dispatch, AfterAMalformedGuidTheDocumentIsIgnored) {
    EXPECT_EQ(
        pavo("<Devices ID='7'><Device Number='1' NorVaneSupported='1'><Storage GUID='nonsense'/></Device>"
             "<Device Number='2' NorVaneSupported='1'/></Devices>"),
        "supported 7/1\n");
    EXPECT_EQ(clip("GUID='' RetrievalStatus='9'"), "");
    EXPECT_EQ(storage("GUID='{0000000000000000000000000000000A}' RetrievalStatus='3'"), "done 000a\n");
    EXPECT_EQ(storage("GUID='00000000-0000-0000-0000-00000000000a ' RetrievalStatus='3'"), "");
}

TEST(Dispatch, AnswersThatCannotBeUsedAreReportedWithTheirReason) {
    const auto answer = [](const std::string& attributes, const std::string& inside) {
        return "<Devices ID='7'><Device Number='3'><Storage " + attributes + ">" + inside +
               "</Storage></Device></Devices>";
    };
    const auto about = [&](const std::string& context) {
        return answer(kGuid, "<Input><Context " + context + "/></Input>");
    };
    const auto notice = [](const std::string& attributes) {
        return "<Devices ID='7'><Device Number='3'><Input><Context><Storage " + kGuid +
               " RetrievalStatus='3' " + attributes + "/></Context></Input></Device></Devices>";
    };
    const std::string no_context = "unusable 000a no RetrievalStatus, and no Context with Number 0\n";
    const std::string complete = "Number='0' Recordings='1' TotalSize='1' OldestStart='1' NewestEnd='2'";
    const std::pair<std::string, std::string> rows[] = {
        {answer(kGuid, ""), no_context},
        {answer(kGuid + " RetrievalStatus='x'", "<Input/>"), no_context},
        {about("Number='1' Recordings='0'"), no_context},
        {about("Number='0'"), "unusable 000a Recordings is missing or not an integer\n"},
        {about("Number='0' Recordings='1' OldestStart='1' NewestEnd='2'"),
         "unusable 000a TotalSize is missing or not an integer\n"},
        {about("Number='0' Recordings='1' TotalSize='1' OldestStart='x' NewestEnd='2'"),
         "unusable 000a OldestStart is missing or not an integer\n"},
        {about("Number='0' Recordings='1' TotalSize='1' OldestStart='1'"),
         "unusable 000a NewestEnd is missing or not an integer\n"},
        {notice("Start='1'"), "unusable 000a FileName is missing\n"},
        {"<Storage><Reservation " + kGuid + " OutDir='o'/></Storage>", "unusable 000a TmpDir is missing\n"},
        {"<Storage><Reservation " + kGuid + " TmpDir='t'/></Storage>", "unusable 000a OutDir is missing\n"},
        {answer("GUID='x'", ""), "unusable  GUID is malformed\n"},
        // Usable, or not an answer.
        {about(complete), "storage 000a 1 GB\n"},
        {about("Number='0' Recordings='0'"), "done 000a\n"},
        {about("Number='1'/><Context Number='0' Recordings='0'"), "done 000a\n"},
        {answer(kGuid + " RetrievalStatus='2'", ""), ""},
        {answer(kGuid + " Command='1'", ""), ""},
        {answer("", ""), ""},
        {"<Storage><Reservation TmpDir='t'/></Storage>", ""},
    };
    for (const auto& [inside, expected] : rows)
        EXPECT_EQ(dispatch("<Pavo>" + inside + "</Pavo>", true), expected) << inside;
}
