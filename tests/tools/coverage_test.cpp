// The computation of norvanepi-ps coverage and metrics, from frame times to text.

#include <gmock/gmock.h>

#include <fmt/format.h>

#include "tools/cli/duration.h"
#include "tools/ps/coverage/coverage.h"
#include "tools/ps/coverage/metrics_text.h"
#include "tools/ps/coverage/recording_facts.h"

namespace {

using ps_tool::CameraCoverage;
using ps_tool::Coverage;
using ps_tool::FrameSpan;
using ps_tool::Interval;
using ps_tool::Intervals;
using ps_tool::RecordingFacts;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::int64_t kMidnight = 20'000 * ps_tool::kDay;

/// A recording with frames every 40 ms. Times are in ms from a midnight.
RecordingFacts recording(const std::string& clip_id, const std::string& name, std::int64_t first,
                         std::int64_t end) {
    return {.clip_id = clip_id,
            .name = name,
            .spans = {{kMidnight + first, kMidnight + end - 40, kMidnight + end}},
            .bytes = 1'000};
}

Intervals shifted(Intervals intervals) {
    for (Interval& one : intervals) one = {one.begin - kMidnight, one.end - kMidnight};
    return intervals;
}

const CameraCoverage& camera(const Coverage& coverage, const std::string& label) {
    for (const CameraCoverage& one : coverage.cameras) {
        if (one.label() == label) return one;
    }
    throw std::runtime_error(label + " is missing");
}

TEST(Duration, NeedsANumberAndAUnit) {
    const struct {
        const char* text;
        std::optional<std::int64_t> length;
    } cases[] = {{"5s", 5'000},
                 {"10min", 600'000},
                 {"24h", 86'400'000},
                 {"7d", 604'800'000},
                 {"0ms", 0},
                 {"999999999d", 86'399'999'913'600'000},
                 {"1000000000ms", {}},
                 {"5", {}},
                 {"s", {}},
                 {"-5s", {}},
                 {"5 s", {}},
                 {"5m", {}},
                 {"", {}}};
    for (const auto& c : cases) EXPECT_EQ(cli::parse_duration(c.text), c.length) << c.text;
    EXPECT_EQ(cli::duration_text(340), "340 ms");
    EXPECT_EQ(cli::duration_text(12'040), "12.04 s");
    EXPECT_EQ(cli::duration_text(920'999), "15 min 20 s");
    EXPECT_EQ(cli::duration_text(7'200'000), "2 h");
    EXPECT_EQ(cli::duration_text(ps_tool::kDay + 3'700'000), "1 d 1 h");
}

TEST(FrameTimes, TheLastFrameOfASpanLastsAsLongAsTheMedian) {
    ps_tool::FrameTimes times;
    for (const std::int64_t time : {0, 40, 80, 1'080, 1'120}) times.add(0, time);  // no gap: 1 s
    times.add(16, 5'000);                                                          // sound
    times.add(0, 2'121);                                                           // a frame of its own
    times.add(0, 9'000);
    times.add(0, 9'100);
    times.add(0, 9'050);  // goes backwards
    times.add(3, 9'120);  // another slot
    EXPECT_THAT(times.spans(), ElementsAre(FrameSpan{0, 1'120, 1'160}, FrameSpan{2'121, 2'121, 2'161},
                                           FrameSpan{9'000, 9'120, 9'200}));
    ps_tool::FrameTimes lone;
    lone.add(0, 7);
    EXPECT_THAT(lone.spans(), ElementsAre(FrameSpan{7, 7, 8}));
}

TEST(Coverage, FindsGapsAtTheEndsOfThePeriodAndAcrossMidnight) {
    const std::vector<RecordingFacts> recordings = {
        recording("A", "Good", -10'000, 0),       recording("A", "Good", 1, 10'000),  // touch within 1 ms
        recording("B", "Stops", -10'000, 2'000),  recording("C", "Late", -4'000, 9'999),
        recording("D", "Night", -10'000, -3'000), recording("D", "Night", 500, 10'000)};
    const Coverage all = coverage_of(recordings, {});
    EXPECT_EQ(shifted({all.period}), Intervals({{-10'000, 10'000}}));
    EXPECT_EQ(all.cameras.front().label(), "Stops");  // the worst one
    EXPECT_EQ(camera(all, "Good").missing(), 0);
    EXPECT_EQ(shifted(camera(all, "Stops").gaps), Intervals({{2'000, 10'000}}));
    EXPECT_EQ(camera(all, "Stops").current_gap(all.period), 8'000);
    EXPECT_EQ(shifted(camera(all, "Late").gaps), Intervals({{-10'000, -4'000}}));
    EXPECT_EQ(camera(all, "Late").current_gap(all.period), 0);
    EXPECT_EQ(shifted(camera(all, "Night").gaps), Intervals({{-3'000, 500}}));
    EXPECT_EQ(verdict_of(all, 5'000), "2 of 4 cameras have gaps, 17.5 s missing, the longest 8 s on Stops");
    EXPECT_EQ(verdict_of(all, 10'000), "no camera of 4 misses 10 s or more, 17.5 s missing");

    const Coverage inside = coverage_of(recordings, {kMidnight - 9'000, kMidnight - 8'000});
    EXPECT_EQ(camera(inside, "Night").ratio(inside.period), 1);
    EXPECT_EQ(verdict_of(inside, 0), "1 of 4 cameras has gaps, 1 s missing, the longest 1 s on Late");
    const Coverage early = coverage_of(recordings, {kMidnight - 20'000, {}});  // what is not kept counts
    EXPECT_EQ(camera(early, "Good").missing(), 10'000);
    const Coverage before = coverage_of(recordings, {{}, kMidnight - 60'000});
    EXPECT_EQ(verdict_of(before, 0), "no recording in the period");
}

TEST(Coverage, ARenamedCameraIsOneAndSharedIdsAreTwo) {
    const RecordingFacts broken{.clip_id = "A", .faulty = true};
    const RecordingFacts broken_now{.clip_id = "A", .faulty = true, .path_time = kMidnight - 7'200'000};
    const RecordingFacts broken_before{
        .clip_id = "A", .faulty = true, .path_time = kMidnight - ps_tool::kDay};
    const std::vector<RecordingFacts> recordings = {
        broken,
        broken_now,
        broken_before,
        recording("A", "New", 10'000, 20'000),
        recording("A", "Old", 0, 10'300),  // starts are rounded to a second
        recording("B", "Yard", 0, 10'000),
        recording("B", "Roof", 8'000, 20'000),
        recording("", "One", 0, 20'000),
        recording("", "Two", 30'000, 40'000)};
    const Coverage coverage = coverage_of(recordings, {{}, kMidnight + 20'000});
    EXPECT_EQ(coverage.cameras.size(), 5U);
    const CameraCoverage& renamed = camera(coverage, "New");
    EXPECT_THAT(renamed.names, ElementsAre("Old", "New"));
    EXPECT_EQ(renamed.missing(), 0);
    EXPECT_EQ(coverage.faulty_in_period(renamed), 3U);  // no limit excludes one
    const Coverage limited = coverage_of(recordings, {kMidnight, kMidnight + 20'000});
    EXPECT_EQ(limited.faulty_in_period(camera(limited, "New")), 2U);
    EXPECT_EQ(shifted(renamed.overlaps), Intervals({{10'000, 10'300}}));
    EXPECT_EQ(camera(coverage, "Yard").missing(), 10'000);
    EXPECT_EQ(camera(coverage, "Roof").missing(), 8'000);
    EXPECT_EQ(camera(coverage, "Two").missing(), 20'000);
}

TEST(Coverage, OverlapsAreInMoreThanOneRecording) {
    const std::vector<RecordingFacts> recordings = {
        recording("A", "Gate", 0, 10'000), recording("A", "Gate", 9'970, 20'000),  // ends the last frame
        recording("A", "Gate", 15'000, 30'000), recording("A", "Gate", 15'000, 30'000),
        recording("A", "Gate", 18'000, 40'000)};
    const Coverage coverage = coverage_of(recordings, {{}, kMidnight + 25'000});
    EXPECT_EQ(shifted(coverage.cameras.front().overlaps), Intervals({{15'000, 25'000}}));
    EXPECT_EQ(coverage.cameras.front().missing(), 0);
}

TEST(Metrics, LabelsAreEscapedAndUnique) {
    RecordingFacts faulty = recording("A", "Front \"gate\"\\\n\xFF", 0, 10'000);
    faulty.faulty = true;
    const std::vector<RecordingFacts> recordings = {faulty,
                                                    recording("A", "Front \"gate\"\\\n\xFE", 0, 10'000)};
    ps_tool::MetricsInput input;
    input.coverage = coverage_of(recordings, {kMidnight - 10'000, kMidnight + 10'000});
    input.minimum_gap = 5'000;
    input.pending = {{"A", {.open_gaps = 1}}, {"B", {.operations = 2, .failed_operations = 3}}};
    const std::string text = metrics_text(input);
    const std::string gate = R"({camera="A",name="Front \"gate\"\\\n)"
                             "\xEF\xBF\xBD";
    EXPECT_THAT(text, testing::StartsWith(ps_tool::kMetricsStart));
    EXPECT_THAT(text, testing::EndsWith("\n# EOF\n"));
    for (const std::string& line :
         {"# TYPE norvanepi_coverage_ratio gauge\nnorvanepi_coverage_ratio" + gate + " (2)\"} 0.5\n",
          "norvanepi_coverage_ratio" + gate + "\"} 0.5\n", "norvanepi_gaps" + gate + "\"} 1\n",
          "norvanepi_open_gaps" + gate + "\"} ",
          std::string("norvanepi_failed_operations{camera=\"B\",name=\"\"} 3\n"),
          "norvanepi_newest_frame_timestamp_seconds" + gate + "\"} 1728000009.96\n",
          std::string("norvanepi_minimum_gap_seconds 5\n")})
        EXPECT_THAT(text, HasSubstr(line));
    EXPECT_EQ(text.find("norvanepi_recordings{camera=\"B\""), std::string::npos);
}

}  // namespace
