// norvanepi-ps report: accounts of lost time, and safe embedding of camera names.

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <sstream>

#include "tests/support/time_zone.h"
#include "tools/ps/report/local_time.h"
#include "tools/ps/report/page.h"
#include "tools/ps/report/page_data.h"
#include "tools/reader/packet_time.h"

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

/// Builds a transcript of a camera with the clip id 00A10380.
class Transcript {
  public:
    void device(const std::string& content) {
        line("to module",
             "<Pavo><Devices ID='10551296'><Device Number='3'>" + content + "</Device></Devices></Pavo>",
             ++number_);
    }
    void channel(bool connected, int time) {
        device(fmt::format(
            "<Codec><Encoder Number='0'><Channel Number='0' Connected='{}' Time='{}'/></Encoder></Codec>",
            connected ? 1 : 0, time));
        release_buffer();
    }
    void request(int start, int stop) {
        line("from module",
             fmt::format("<Pavo><Devices ID='10551296'><Device Number='3'><Storage GUID='{}' Command='1' "
                         "Start='{}' Stop='{}'/></Device></Devices></Pavo>",
                         kGuid, start, stop),
             0);
    }
    void clip(int start, int stop, const std::string& error = "") {
        device(
            fmt::format("<Input><Context><Storage GUID='{}' RetrievalStatus='3' FileName='c' Start='{}' "
                        "Stop='{}'/></Context></Input>",
                        kGuid, start, stop));
        if (!error.empty()) line("from module", "<log_msg level='75'>" + error + "</log_msg>", 0);
        release_buffer();
    }
    void status(int status) {
        device(fmt::format("<Storage GUID='{}' RetrievalStatus='{}' ErrorCode='5'/>", kGuid, status));
        release_buffer();
    }
    std::vector<ps_tool::LostTime> lost() const {
        std::istringstream in(text_);
        return ps_tool::read_transcript(in);
    }

  private:
    void release_buffer() { text_ += Json{{"direction", "from module"}, {"number", number_}}.dump() + "\n"; }
    void line(const char* direction, const std::string& text, int number) {
        Json one = {{"direction", direction}, {"text", text}};
        if (number != 0) one["number"] = number;
        text_ += one.dump() + "\n";
    }

    int number_ = 0;
    std::string text_;
};

std::string text_of(const ps_tool::Account& account) {
    std::string text = fmt::format("lost {} recovered {} not on camera {}", account.lost / 1000,
                                   account.recovered / 1000, account.not_on_camera / 1000);
    std::int64_t sum = account.recovered + account.not_on_camera;
    for (const auto& [kind, parts] : {std::pair("refused", &account.refused), {"failed", &account.failed}}) {
        for (const auto& [why, length] : *parts) {
            text += fmt::format(" {} '{}' {}", kind, why, length / 1000);
            sum += length;
        }
    }
    return sum == account.lost ? text : text + " (parts do not add up)";
}

const std::string kCamera = "00A10380";

}  // namespace

TEST(Coverage, MergesOverlapsAndSplitsDays) {
    const Intervals merged = ps_tool::merge({{50, 60}, {0, 10}, {5, 20}, {21, 30}, {40, 40}}, 1);
    EXPECT_EQ(merged, (Intervals{{0, 30}, {50, 60}}));
    EXPECT_EQ(ps_tool::difference(merged, {{-5, 5}, {10, 11}, {29, 52}}),
              (Intervals{{5, 10}, {11, 29}, {52, 60}}));
    EXPECT_EQ(ps_tool::longest_gaps({{0, 1}, {5, 6}, {8, 9}, {100, 101}}, 2), (Intervals{{9, 100}, {1, 5}}));
    using ps_tool::kDay;
    const auto days = ps_tool::covered_by_day({{kDay - 10, kDay + 5}, {3 * kDay, 4 * kDay}});
    EXPECT_EQ(days, (std::map<std::int64_t, std::int64_t>{{0, 10}, {1, 5}, {2, 0}, {3, kDay}}));
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
    EXPECT_EQ(
        text_of(ps_tool::account_for(transcript.lost(), covered)[kCamera]),
        "lost 100 recovered 20 not on camera 50 refused 'Unsupported file format' 20 failed 'recording is "
        "missing' 10");
}

TEST(LostTime, UnfetchedTimeHasAReason) {
    const auto accounted = [](const Transcript& transcript) {
        return text_of(ps_tool::account_for(transcript.lost(), {})[kCamera]);
    };
    Transcript unsupported;
    unsupported.channel(false, 1'000);
    unsupported.channel(true, 1'100);
    EXPECT_EQ(accounted(unsupported), "lost 100 recovered 0 not on camera 0 failed 'never requested' 100");

    Transcript restarted;  // the loss was not reported
    restarted.request(1'000, 1'060);
    EXPECT_EQ(accounted(restarted), "lost 60 recovered 0 not on camera 0 failed 'not finished' 60");
    restarted.status(4);
    EXPECT_EQ(accounted(restarted), "lost 60 recovered 0 not on camera 0 failed 'error 5' 60");
    restarted.request(1'030, 1'060);  // the retry
    restarted.device(std::string("<Storage GUID='") + kGuid +
                     "'><Input><Context Number='0' Recordings='0'/></Input></Storage>");
    EXPECT_EQ(accounted(restarted), "lost 60 recovered 0 not on camera 60");

    std::istringstream cut_off(R"({"direction": "to mod)");
    EXPECT_TRUE(ps_tool::read_transcript(cut_off).empty());
    std::istringstream foreign("not a transcript\n");
    EXPECT_THROW(ps_tool::read_transcript(foreign), std::runtime_error);
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
