// norvanepi-ps report: accounts of lost time, and safe embedding of camera names.

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <array>
#include <sstream>

#include "engine/log_lines.h"
#include "tests/support/time_zone.h"
#include "tools/ps/report/host_log.h"
#include "tools/ps/report/local_time.h"
#include "tools/ps/report/page.h"
#include "tools/ps/report/page_data.h"
#include "tools/ps/report/transcript.h"
#include "tools/reader/packet_time.h"
#include "xml/attributes.h"

namespace {

using cli::Json;
using ps_tool::Interval;
using ps_tool::Intervals;

constexpr const char* kGuid = "3f2b8c1e-5d4a-4e0b-9a7c-21d0c6e4f8a5";

/// A recording in the form of verify --json with one span. Times are in seconds since 1970.
Json recording(const std::string& id, const std::string& name, std::int64_t first, std::int64_t last,
               int faults = 0) {
    const auto time = [](std::int64_t seconds) {
        return reader::rfc3339(*reader::packet_time_of(seconds * 1000));
    };
    return {{"path", "a/0000-" + id + "e.ps"},
            {"clip_id", id},
            {"first", time(first)},
            {"last", time(last)},
            {"frames", 10},
            {"key_frames", 1},
            {"bytes", 1'000},
            {"mendable", false},
            {"fault_count", faults},
            {"faults", Json::array()},
            {"streams", {{{"name", name}}}},
            {"spans", {{{"slot", 0}, {"kind", 128}, {"first", time(first)}, {"last", time(last)}}}}};
}

void add(ps_tool::PageData& data, const Json& recording) {
    data.add(std::make_shared<const ps_tool::PageRecording>(ps_tool::page_recording(recording)));
}

norvane::Operation operation(std::int32_t start, std::int32_t stop) {
    return {.device = {10551296, 3},
            .guid = *xml::parse_guid(kGuid),
            .start_time = platform::ticks_of(start),
            .end_time = platform::ticks_of(stop)};
}

/// Builds a transcript of a camera with the clip id 00A10380, and logs of a host about the same.
class Transcript {
  public:
    void device(const std::string& content) {
        line("to module",
             "<Pavo><Devices ID='10551296'><Device Number='3'>" + content + "</Device></Devices></Pavo>");
    }
    void channel(bool connected, int time) {
        device(fmt::format(
            "<Codec><Encoder Number='0'><Channel Number='0' Connected='{}' Time='{}'/></Encoder></Codec>",
            connected ? 1 : 0, time));
    }
    void request(int start, int stop) {
        text(norvane::log_lines::requesting_storage_info(operation(start, stop)));
        line("from module",
             fmt::format("<Pavo><Devices ID='10551296'><Device Number='3'><Storage GUID='{}' Command='1' "
                         "Start='{}' Stop='{}'/></Device></Devices></Pavo>",
                         kGuid, start, stop));
    }
    void clip(int start, int stop, const std::string& error = "") {
        device(
            fmt::format("<Input><Context><Storage GUID='{}' RetrievalStatus='3' FileName='c' Start='{}' "
                        "Stop='{}'/></Context></Input>",
                        kGuid, start, stop));
        if (!error.empty()) text(error);
    }
    void status(int status) {
        device(fmt::format("<Storage GUID='{}' RetrievalStatus='{}' ErrorCode='5'/>", kGuid, status));
        text(status == 3 ? norvane::log_lines::completed(operation(0, 0))
                         : norvane::log_lines::failed(operation(0, 0), 5));
    }
    void text(const std::string& text) {
        texts_ += kTime + (" ERROR " + text + "\r\n");
        line("from module", "<log_msg level=\"75\">" + text + "</log_msg>");
    }
    std::vector<ps_tool::LostTime> lost() const {
        ps_tool::LossTracker tracker;
        std::istringstream in(transcript_);
        ps_tool::read_transcript(in, tracker);
        return tracker.lost_times();
    }
    const std::string& documents() const { return documents_; }
    const std::string& texts() const { return texts_; }

  private:
    static constexpr const char* kTime = "[1970-01-01 00:00:00,500 +0000]";

    void line(const char* direction, const std::string& text) {
        transcript_ += Json{{"direction", direction}, {"text", text}}.dump() + "\n";
        documents_ += kTime + (" DEBUG " + text + "\r\n");
    }

    std::string transcript_;
    std::string documents_;
    std::string texts_;
};

std::vector<ps_tool::LostTime> lost_in(const std::string& log, std::uint64_t skipped = 0) {
    ps_tool::LossTracker tracker;
    std::istringstream in(log);
    EXPECT_EQ(ps_tool::read_host_log(in, {}, tracker).skipped, skipped);
    return tracker.lost_times();
}

/// The parts in the form "1000-1020 recovered, 1020-1040 refused 'reason'", in seconds.
std::string text_of(const std::vector<ps_tool::GapPart>& parts) {
    constexpr std::array kOutcomes = {"recovered", "not on camera", "refused", "failed", "open"};
    std::string text;
    for (const ps_tool::GapPart& part : parts) {
        text += fmt::format("{}{}-{} {}", text.empty() ? "" : ", ", part.time.begin / 1000,
                            part.time.end / 1000, kOutcomes.at(static_cast<std::size_t>(part.outcome)));
        if (!part.reason.empty()) text += " '" + part.reason + "'";
    }
    return text;
}

std::string outcomes(const std::vector<ps_tool::LostTime>& lost,
                     const std::map<std::string, Intervals>& covered = {}) {
    return text_of(ps_tool::outcomes_of(lost, covered));
}

const std::string kCamera = "00A10380";

}  // namespace

TEST(Coverage, MergesAndSubtractsIntervals) {
    const Intervals merged = ps_tool::merge({{50, 60}, {0, 10}, {5, 20}, {21, 30}, {40, 40}}, 1);
    EXPECT_EQ(merged, (Intervals{{0, 30}, {50, 60}}));
    EXPECT_EQ(ps_tool::difference(merged, {{-5, 5}, {10, 11}, {29, 52}}),
              (Intervals{{5, 10}, {11, 29}, {52, 60}}));
}

TEST(LostTime, EachSecondIsCountedOnce) {
    Transcript transcript;
    transcript.channel(false, 1'000);
    transcript.channel(true, 1'100);
    transcript.request(990, 1'100);
    transcript.clip(1'000, 1'020);
    transcript.clip(1'020, 1'040, "Unsupported file format - c.\n");
    transcript.clip(1'040, 1'050);  // its recording is missing
    transcript.status(3);
    const std::map<std::string, Intervals> covered = {{kCamera, {{900'000, 1'020'000}}}};
    const std::string parts =
        "1000-1020 recovered, 1020-1040 refused 'Unsupported file format', 1040-1050 failed 'recording is "
        "missing', 1050-1100 not on camera";
    EXPECT_EQ(outcomes(transcript.lost(), covered), parts);
    EXPECT_EQ(outcomes(lost_in(transcript.documents(), 1), covered), parts)
        << "a text ends with a line break";
    EXPECT_EQ(outcomes(lost_in(transcript.documents() + transcript.documents(), 2), covered), parts);
    EXPECT_EQ(outcomes(lost_in(transcript.texts() + transcript.documents(), 2), covered), parts);
    EXPECT_EQ(outcomes(lost_in(transcript.texts(), 1), covered),
              "990-1020 recovered, 1020-1100 refused 'Unsupported file format'");

    std::vector<ps_tool::LostTime> overlapping = transcript.lost();
    overlapping.push_back({.clip_id = kCamera, .gap = {1'090'000, 1'110'000}, .reason = "another device"});
    overlapping.push_back({.clip_id = "other", .gap = {1'000'000, 1'001'000}});
    EXPECT_EQ(outcomes(overlapping, covered), parts + ", 1100-1110 open 'another device', 1000-1001 open");
}

TEST(LostTime, UnfetchedTimeHasAReason) {
    Transcript unsupported;
    unsupported.channel(false, 1'000);
    EXPECT_EQ(outcomes(lost_in(unsupported.documents() + "1970-01-01 00:00:30 a line of the host\n", 1)),
              "1000-1029 open 'still lost'");
    unsupported.channel(true, 1'100);
    EXPECT_EQ(outcomes(unsupported.lost()), "1000-1100 open 'never requested'");
    unsupported.text(norvane::log_lines::kAllDone);
    EXPECT_EQ(outcomes(unsupported.lost()), "1000-1100 failed 'never requested'");
    unsupported.channel(false, 1'200);

    std::istringstream cut_off(R"({"direction": "to mod)");
    ps_tool::LossTracker tracker;
    ps_tool::read_transcript(cut_off, tracker);
    EXPECT_TRUE(tracker.lost_times().empty());
    std::istringstream foreign("not a transcript\n");
    EXPECT_THROW(ps_tool::read_transcript(foreign, tracker), std::runtime_error);
}

TEST(LostTime, AfterARestartAllFormsOfALogAgree) {
    Transcript restarted;  // the loss was not reported
    const auto expect = [&](const std::string& parts) {
        EXPECT_EQ(outcomes(restarted.lost()), parts);
        EXPECT_EQ(outcomes(lost_in(restarted.documents())), parts);
        EXPECT_EQ(outcomes(lost_in(restarted.texts())), parts);
    };
    restarted.request(1'000, 1'060);
    expect("1000-1060 open 'not finished'");
    restarted.status(4);
    expect("1000-1060 failed 'error 5'");
    restarted.request(1'030, 1'060);  // the retry
    expect("1000-1060 open 'not finished'");
    restarted.text(norvane::log_lines::kAllDone);
    expect("1000-1060 failed 'not finished'");
    restarted.status(3);
    expect("1000-1060 not on camera");
    restarted.status(4);  // the module knows it no more
    expect("1000-1060 not on camera");
}

TEST(LostTime, NoGapBeginsBeforeWhatTheLogProves) {
    Transcript other_clock;  // the module saved its own time at shutdown
    other_clock.channel(true, 5'000'000);
    other_clock.channel(true, 5'000'003);
    other_clock.request(1'000, 5'000'003);
    EXPECT_EQ(outcomes(other_clock.lost()), "5000000-5000003 open 'not finished'");
    EXPECT_EQ(outcomes(lost_in(other_clock.documents())), "5000000-5000003 open 'not finished'");

    Transcript without_times;
    without_times.channel(true, 2'000);
    without_times.channel(false, -1);
    without_times.channel(true, 2'060);
    without_times.request(-11, 2'060);
    without_times.status(3);
    EXPECT_EQ(outcomes(without_times.lost()), "2000-2060 not on camera");

    Transcript retry_only;  // its begin is known from the clips
    retry_only.request(-1, 3'000);
    retry_only.clip(2'900, 2'950);
    EXPECT_EQ(outcomes(retry_only.lost()),
              "2900-2950 failed 'recording is missing', 2950-3000 open 'not finished'");

    Transcript backwards;
    backwards.channel(false, 2'000);
    backwards.channel(true, 1'000);
    EXPECT_EQ(outcomes(backwards.lost()), "");
}

TEST(HostLog, SkipsWhatIsNotOfTheModule) {
    Transcript transcript;
    transcript.request(1'000, 1'060);
    const std::string cut = transcript.documents().substr(0, transcript.documents().size() - 20);
    EXPECT_EQ(outcomes(lost_in(cut + "\n\xFF\xFE\n<Pavo\n\n" + std::string(3U << 20U, '<') + "\n" +
                                   transcript.texts() + "NorVane - all operations completed successfully.\n" +
                                   "1970-01-01T00:00:02Z NorVane - all operations completed succ",
                               7)),
              "1000-1060 open 'not finished'");
    const std::string answer = fmt::format(
        "<Pavo><Devices ID='10551296'><Device Number='3'><Storage GUID='{}' Command='1' Start='1000' "
        "Stop='1060'><Input><Context Number='0' Recordings='0'/></Input></Storage></Device></Devices>"
        "</Pavo>\n",
        kGuid);
    EXPECT_EQ(outcomes(lost_in(transcript.documents() + answer)), "1000-1060 not on camera");
}

TEST(HostLog, ReadsTimes) {
    const ps_tool::Zone zone = *ps_tool::Zone::parse("+02:00");
    for (const auto& [line, time] :
         std::map<std::string, std::int64_t>{{"1970-01-01T00:00:01Z x", 1'000},
                                             {"1970-01-01 02:00:01 x", 1'000},
                                             {"[1970-01-01 02:00:01,25] x", 1'250},
                                             {"1970-01-01T01:00:01.5+0100", 1'500},
                                             {"1970-01-01 01:00:01.0 +01:00", 1'000},
                                             {"1970-01-01 02:00:01 - 0100", 1'000}}) {
        EXPECT_EQ(ps_tool::parse_log_time(line, zone), time) << line;
    }
    EXPECT_FALSE(ps_tool::parse_log_time("1970-01-01 x", zone));
}

TEST(ReportPage, EscapesNamesAndMarksSharedIds) {
    const std::string hostile = "</script><script>alert(1)</script>\xFF";
    ps_tool::PageData data({.now = 1'529'700'000'000});
    add(data, recording(kCamera, hostile, 1'529'683'509, 1'529'683'519));
    add(data, recording(kCamera, "Front gate", 1'529'683'509, 1'529'683'513, 2));
    add(data, recording(kCamera, "Front gate", 1'529'683'515, 1'529'683'519));
    add(data, recording("00A10580", "Yard", 1'529'683'509, 1'529'683'512));
    add(data, recording("00A10580", "Back yard", 1'529'683'515, 1'529'683'519));  // renamed
    const Json document = data.document();
    EXPECT_EQ(data.faulty_files(), 1U);
    ASSERT_EQ(document.at("cameras").size(), 3U);
    std::map<std::string, Json> cameras;
    for (const Json& camera : document.at("cameras")) cameras[camera.at("names").back()] = camera;
    EXPECT_EQ(cameras[hostile].at("sharesIdWith"), Json({"Front gate"}));
    EXPECT_EQ(cameras[hostile].at("spans"), Json({0, 10'000, 128}));
    EXPECT_EQ(cameras["Back yard"].at("names"), Json({"Yard", "Back yard"}));
    EXPECT_TRUE(cameras["Back yard"].at("sharesIdWith").empty());
    // The gap begins after the last frame. The last one of all goes on for two days, like the page.
    EXPECT_EQ(cameras["Back yard"].at("gaps")[0], 1'529'683'512'001);
    EXPECT_EQ(cameras["Back yard"].at("gaps")[1], 2'999);
    EXPECT_EQ(document.at("extent")[1], 1'529'700'000'000);

    const std::string page = ps_tool::report_page(document);
    EXPECT_EQ(page.find("alert(1)</script>"), std::string::npos);
    EXPECT_NE(page.find("default-src 'none'; style-src 'sha256-"), std::string::npos);
    const auto begin = page.find("id=\"document\">") + 14;
    const Json inside = Json::parse(page.substr(begin, page.find("</script>", begin) - begin));
    EXPECT_EQ(inside.at("files")[0].at(0), "a/0000-" + kCamera + "e.ps");
    EXPECT_NE(inside.dump().find("alert(1)</script>\xEF\xBF\xBD"), std::string::npos);
}

TEST(ReportPage, WrongDatesAndEmptyFilesAreNotCameras) {
    constexpr std::int64_t kDaySeconds = 86'400;
    constexpr std::int64_t kBegin = 20'000 * kDaySeconds;
    const auto outliers = [](std::int64_t wrong_begin, std::int64_t wrong_length, std::int64_t now) {
        ps_tool::PageData data({.now = now * 1000});
        for (int day = 0; day < 30; ++day) {
            add(data,
                recording(kCamera, "Gate", kBegin + day * kDaySeconds, kBegin + (day + 1) * kDaySeconds));
        }
        add(data, recording(kCamera, "Gate", wrong_begin, wrong_begin + wrong_length));
        Json empty = recording("00A10680", "", kBegin, kBegin, 1);
        empty["spans"] = empty["streams"] = Json::array();
        add(data, empty);
        const Json document = data.document();
        EXPECT_EQ(document.at("cameras").size(), 1U);
        EXPECT_TRUE(document.at("files")[31].at(9).is_null());
        return document.at("outliers").size();
    };
    constexpr std::int64_t kEnd = kBegin + 30 * kDaySeconds;
    EXPECT_EQ(outliers(kBegin - 400 * kDaySeconds, 3'600, kEnd), 1U);
    EXPECT_EQ(outliers(946'684'800, 20 * kDaySeconds / 24, kEnd), 1U);        // a clock that was reset
    EXPECT_EQ(outliers(kEnd + 90 * kDaySeconds, 5 * kDaySeconds, kEnd), 1U);  // the future
    EXPECT_EQ(outliers(kEnd + 3 * kDaySeconds, 3'600, kEnd), 1U);
    EXPECT_EQ(outliers(946'684'800, 26 * 3'600, kEnd), 1U);
    EXPECT_EQ(outliers(kEnd + 10 * kDaySeconds, 3'600, kEnd + 11 * kDaySeconds), 0U);  // back after an outage
    EXPECT_EQ(outliers(kEnd + 3'600, 3'600, kEnd + kDaySeconds), 0U);
}

TEST(ReportPage, LocalTimeIsThatOfTheRecordings) {
    using ps_tool::ZoneOffset;
    constexpr std::int64_t kHour = 3'600'000;
    constexpr std::int64_t kSpring = 1'774'746'000'000;  // 2026-03-29 01:00 UTC
    // Between two recordings, the clock changes at the last full hour.
    const std::vector<ZoneOffset> seen = {
        {kSpring + 1'234, 120}, {kSpring - 2 * kHour, 60}, {kSpring - kHour, 60}, {kSpring + kHour, 120}};
    EXPECT_EQ(ps_tool::offsets_of(seen),
              (std::vector<ZoneOffset>{{kSpring - 2 * kHour, 60}, {kSpring, 120}}));
    EXPECT_TRUE(ps_tool::offsets_of(std::vector<ZoneOffset>{}).empty());
    constexpr std::int64_t kAdelaide = 1'759'595'400'000;  // 2025-10-04 16:30 UTC, 02:00 local
    EXPECT_EQ(ps_tool::offsets_of({{kAdelaide - kHour, 570}, {kAdelaide + kHour / 4, 630}})[1].from,
              kAdelaide);
    // Recorders in two zones: the more frequent one.
    std::vector<ZoneOffset> mixed;
    for (int i = 0; i < 9; ++i) mixed.push_back({kSpring + i * kHour, i % 3 == 0 ? 0 : 60});
    EXPECT_EQ(ps_tool::offsets_of(mixed), (std::vector<ZoneOffset>{{kSpring, 60}}));
    const Interval day{kSpring - 12 * kHour, kSpring + 12 * kHour};
    EXPECT_EQ(ps_tool::offsets_of(*ps_tool::Zone::parse("+05:30"), day),
              (std::vector<ZoneOffset>{{day.begin, 330}}));
    if (!kZonesCanBeSet) return;
    const TimeZone zone(kCentralEurope);
    EXPECT_EQ(ps_tool::offsets_of(*ps_tool::Zone::parse("local"), {day.begin, day.end}),
              (std::vector<ZoneOffset>{{day.begin, 60}, {kSpring, 120}}));
}
