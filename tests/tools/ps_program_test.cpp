// Runs the norvanepi-ps program: each subcommand on valid, damaged and unrelated files.

#include <gmock/gmock.h>
#ifndef _WIN32
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <nlohmann/json.hpp>
#include <regex>
#include <string>
#include <vector>

#include "ps/index_layout.h"
#include "tests/support/clips.h"
#include "tests/support/program.h"
#ifndef _WIN32
#include "tests/support/small_disk.h"
#endif

namespace {

using nlohmann::json;
using testing::HasSubstr;

std::string native(const std::string& path) {
    return boost::filesystem::path(path).make_preferred().string();
}

/// A clip with parameter sets before each key frame.
ClipTrack playable() {
    const std::string key = nal("\x67 sequence") + nal("\x68 picture") + nal("\x65 key");
    return {.samples = {key, nal("\x41 other"), key}, .sync = {{1, 3}}};
}

class PsProgramTest : public ProgramTest {
  protected:
    PsProgramTest() { write_file(directory_ / "front.mp4", make_clip(playable())); }

    /// Runs the program in the test's directory.
    Outcome ps(const std::string& arguments) { return run(full_path(NORVANEPI_PS) + " " + arguments); }

    /// Runs the program with --json, checks its exit status and the schema, and returns the JSON.
    json json_of(const std::string& arguments, int status) {
        const Outcome shown = ps(arguments + " --json");
        EXPECT_EQ(shown.status, status) << shown.err;
#ifdef CHECK_JSON
        write_file(directory_ / "shown.json", shown.out);
        EXPECT_EQ(run(CHECK_JSON " " SCHEMA " shown.json").err, "") << shown.out;
#endif
        return json::parse(shown.out, nullptr, false);
    }

    /// Creates the recording that the help examples use.
    void convert(const std::string& more = "") {
        const Outcome made =
            ps("convert front.mp4 --start 2018-06-22T16:05:09Z --out recordings --identifier "
               "10551296 --device 3 --name \"Front gate\" " +
               more);
        ASSERT_EQ(made.out, kPath + "\n") << made.err;
    }
    [[nodiscard]] std::string data() const {
        return read_file(directory_ / kPath);
    }
    [[nodiscard]] std::string index() const {
        return read_file(directory_ / (kPath + "i"));
    }

    const std::string kPath = "recordings/2018/06/22/16/0509-00A10380e.ps";
    const std::string kFound = native(kPath);  // as found in a directory
};

TEST_F(PsProgramTest, HelpExamplesRun) {
    for (const std::string command :
         {"convert", "info", "frames", "verify", "repair", "probe", "report", "coverage", "metrics"}) {
        const std::string help = ps(command + " --help").out;
        std::smatch example;
        ASSERT_TRUE(std::regex_search(help, example, std::regex("Example: norvanepi-ps (.*)"))) << help;
        const Outcome ended = ps(example[1]);
        EXPECT_EQ(ended.status, 0) << command << ": " << ended.err << ended.out;
        EXPECT_NE(ended.out, "") << command;
    }
}

TEST_F(PsProgramTest, WrongUsageAndMissingFilesPrintOneLineAndReturn2) {
    for (const std::string line :
         {"", "verify", "verfy .", "help nothing", "verify missing", "verify --zone CET .",
          "verify --jobs 0 .", "verify .", "frames missing.ps", "frames --from someday front.mp4",
          "probe missing.mp4", "convert front.mp4 --out x", "convert front.mp4 --start 2018 --out x",
          "convert missing.mp4 --start 2018-06-22T16:05:09Z --out x"}) {
        const Outcome ended = ps(line);
        EXPECT_EQ(ended.status, 2) << line;
        EXPECT_THAT(ended.err, testing::StartsWith("norvanepi-ps: error: ")) << line;
        EXPECT_EQ(ended.err.find('\n'), ended.err.size() - 1) << line;
        EXPECT_EQ(ended.out, "") << line;
    }
}

TEST_F(PsProgramTest, OneUnusableInputDoesNotHideTheOthers) {
    convert();
    boost::filesystem::create_directories(directory_ / "recordings/odd.psi");
    boost::filesystem::create_directories(directory_ / "empty");
    write_file(directory_ / "recordings/odd.ps", data());
    for (const std::string command : {"info", "verify"}) {
        const json document = json_of(command + " missing recordings empty", 2);
        EXPECT_EQ(document.at("recordings").size(), 1U);
        EXPECT_EQ(document.at("recordings")[0].at("path"), kFound);
        EXPECT_EQ(document.at("unusable"),
                  json::parse(R"([{"path": "missing", "reason": "No such file or directory"},
                                  {"path": "empty", "reason": "contains no recording"},
                                  {"path": "recordings/odd.psi", "reason": "is a directory"}])"));
        const Outcome lines = ps(command + " --ndjson missing " + kPath + " " + kPath + "i recordings");
        EXPECT_EQ(lines.status, 2);
        EXPECT_EQ(json::parse(lines.out).at("path"), kFound);
    }
    const json probes = json_of("probe missing.mp4 front.mp4", 2);
    EXPECT_EQ(probes.at("clips")[0].at("path"), "front.mp4");
    EXPECT_EQ(probes.at("unusable").size(), 1U);
    const json converted =
        json_of("convert front.mp4 missing.mp4 front.mp4 empty --start 2018-06-22T16:05:09Z --out other", 2);
    const json& conversions = converted.at("conversions");
    EXPECT_EQ(conversions[0].at("result"), "converted");
    EXPECT_EQ(conversions[1].at("reason"), "No such file or directory");
    EXPECT_THAT(conversions[2].at("reason").get<std::string>(), HasSubstr("start is unknown"));
    EXPECT_EQ(converted.at("unusable"),
              json::parse(R"([{"path": "missing.mp4", "reason": "No such file or directory"},
                              {"path": "empty", "reason": "is a directory"}])"));
    EXPECT_EQ(ps("convert empty --start 2018-06-22T16:05:09Z --out other").err,
              "norvanepi-ps: error: empty: is a directory\n");
    const json frames = json_of("frames missing.ps", 2);
    EXPECT_EQ(frames.at("frames"), json::array());
    EXPECT_EQ(frames.at("unusable")[0].at("reason"), "No such file or directory");
    EXPECT_EQ(json_of("frames recordings", 2).at("unusable")[0].at("reason"),
              "contains more than one recording");
    EXPECT_EQ(ps("report recordings missing -o page.html").status, 2);
    EXPECT_THAT(read_file(directory_ / "page.html"), HasSubstr("Front gate"));
}

TEST_F(PsProgramTest, TimesHaveAZoneOrTakeThatOfTheOption) {
    convert();
    const std::string second_frame = "1,0,2018-06-22T16:05:09.333Z,";
    for (const std::string range :
         {"--from 2018-06-22T16:05:09.001 --to 2018-06-22T16:05:09.600Z",
          "--from 2018-06-22T18:05:09.001+02:00 --to 2018-06-22T11:35:09.600-04:30",
          "--zone +05:45 --from 2018-06-22T21:50:09.001 --to 2018-06-22T21:50:09.600"}) {
        const Outcome listed = ps("frames --csv " + range + " " + kPath);
        EXPECT_THAT(listed.out, HasSubstr(second_frame)) << range << listed.err;
        EXPECT_EQ(std::ranges::count(listed.out, '\n'), 2) << range;
    }
    EXPECT_THAT(ps("verify --from 2018-06-22 --to 2018-06-23 recordings").out, HasSubstr("verified"));
    EXPECT_EQ(ps("verify --zone +08:00 --to 2018-06-23T00:05:09 recordings").out, "");
    EXPECT_EQ(ps("info --from yesterday recordings").out, "");
    EXPECT_THAT(ps("info --to today recordings").out, HasSubstr("decodable"));
    EXPECT_EQ(ps("verify --quiet recordings").out, "");
}

TEST_F(PsProgramTest, ReportIsEqualForRecordingsAndForVerifyOutput) {
    convert();
    ASSERT_EQ(ps("report recordings -o direct.html").status, 0);
    ASSERT_EQ(ps("verify --json recordings").status, 0);
    boost::filesystem::rename(directory_ / "out", directory_ / "verified.json");
    ASSERT_EQ(ps("report --from verified.json -o -").status, 0);
    const auto page_at =
        [this](const char* name) {  // without the time of the report, which begins the document
            std::string page = read_file(directory_ / name);
            const auto at = page.find("{\"now\":");
            return page.erase(at, page.find(',', at) - at);
        };
    EXPECT_EQ(page_at("out"), page_at("direct.html"));
    write_file(directory_ / "cut.json", read_file(directory_ / "verified.json").substr(0, 500));
    const Outcome partial = ps("report recordings --documents cut.json missing.json -o partial.html");
    EXPECT_EQ(partial.status, 2);
    EXPECT_THAT(partial.err, AllOf(HasSubstr("cut.json: not the output of norvanepi-ps verify --json: "),
                                   HasSubstr("missing.json: No such file or directory\n"),
                                   HasSubstr("1 recording, 0 with faults")));
    EXPECT_EQ(page_at("partial.html"), page_at("direct.html"));
    EXPECT_EQ(ps("report recordings --from verified.json verified.json -o three.html").err,
              "3 recordings, 0 with faults\n");

    write_file(directory_ / "later",
               "2026-01-02 00:00:00 NorVane - all operations completed successfully.\n");
    write_file(directory_ / "earlier", "2026-01-01 NorVane\n2026-01-01T00:00:00Z <Pavo/>\n");
    write_file(directory_ / "foreign", "2026-01-03 00:00:00 one\ntwo\n");
    write_file(directory_ / "empty", "");
    const Outcome logged = ps("report recordings -o logged.html --log later foreign earlier empty missing");
    EXPECT_EQ(logged.status, 2);
    EXPECT_TRUE(boost::filesystem::exists(directory_ / "logged.html"));
    EXPECT_EQ(logged.err,
              "norvanepi-ps: error: empty: is empty\n"
              "norvanepi-ps: error: missing: No such file or directory\n"
              "earlier: 1 line used, 1 skipped\n"
              "later: 1 line used, 0 skipped\n"
              "norvanepi-ps: error: foreign: 2 lines, none with a document or a log text of the module\n"
              "1 recording, 0 with faults\n");

    write_file(directory_ / kPath, data().substr(0, 2'000));
    EXPECT_EQ(ps("report recordings -o faulty.html").status, 1);
    for (const std::string wrong :
         {"-o x", "--from recordings -o x", "--from front.mp4 -o x", "--from missing -o x",
          "recordings -o none/x", "recordings -o x --transcript front.mp4"}) {
        const Outcome ended = ps("report " + wrong);
        EXPECT_EQ(ended.status, 2) << wrong;
        EXPECT_THAT(ended.err, HasSubstr("norvanepi-ps: error: ")) << wrong;
    }
}

TEST_F(PsProgramTest, OutputsReplaceFilesOnlyOnRequestAndNeverRecordings) {
    convert();
    const std::string recorded = data();
    const std::string indexed = index();
    write_file(directory_ / "copy", recorded);
    write_file(directory_ / "copy_of_index", indexed);
    write_file(directory_ / "page.html", "old");
    for (const std::string& taken : {kPath, kPath + "i", std::string("copy"), std::string("copy_of_index"),
                                     std::string("new.ps"), std::string("recordings")}) {
        const Outcome ended = ps("report recordings --force -o " + taken);
        EXPECT_EQ(ended.status, 2) << taken;
        EXPECT_THAT(ended.err, HasSubstr("norvanepi-ps: error: " + taken + ": is a ")) << taken;
    }
    EXPECT_EQ(data(), recorded);
    EXPECT_EQ(index(), indexed);
    EXPECT_EQ(read_file(directory_ / "copy"), recorded);
    EXPECT_FALSE(boost::filesystem::exists(directory_ / "new.ps"));

    EXPECT_EQ(ps("report recordings -o page.html").err,
              "norvanepi-ps: error: page.html: already exists; use --force to replace it\n");
    EXPECT_EQ(read_file(directory_ / "page.html"), "old");
    EXPECT_EQ(ps("report recordings --force -o page.html").status, 0);
    EXPECT_THAT(read_file(directory_ / "page.html"), HasSubstr("<!DOCTYPE html>"));
    for (const auto& entry : boost::filesystem::directory_iterator(directory_.path()))
        EXPECT_NE(entry.path().extension(), ".part") << entry.path();
}

TEST_F(PsProgramTest, VerifyReportsFaultsAndWhetherTheyAreRepairable) {
    convert();
    EXPECT_EQ(ps("verify recordings").out, kFound + ": verified, 3 frames in 1 span\n");
    EXPECT_EQ(ps("verify --deep --jobs 3 recordings " + kPath).status, 0);

    const std::string whole = data();
    write_file(directory_ / kPath, whole.substr(0, whole.size() - 1));
    write_file(directory_ / "recordings/text.ps", "no recording");
    write_file(directory_ / "recordings/alone.psi", index());
    const json table = json_of("verify recordings", 1).at("recordings");
    ASSERT_EQ(table.size(), 3U);
    EXPECT_EQ(table[0].at("path"), kFound);
    EXPECT_EQ(table[0].at("faults")[0].at("entry"), 2);
    EXPECT_EQ(table[0].at("mendable"), true);
    EXPECT_EQ(table[1].at("path"), native("recordings/alone.ps"));
    EXPECT_EQ(table[2].at("faults")[0].at("text"), "file ends before the first packet");
    EXPECT_EQ(table[2].at("mendable"), false);
}

TEST_F(PsProgramTest, InfoShowsUtcAndLocalTimeAndDecodability) {
    convert();
    const json sound = json_of("info recordings", 0).at("recordings")[0];
    EXPECT_EQ(sound.at("first"), "2018-06-22T16:05:09.000Z");
    EXPECT_EQ(sound.at("zone_minutes"), 0);
    EXPECT_EQ(sound.at("streams")[0].at("name"), "Front gate");
    EXPECT_EQ(sound.at("decodable"), true);

    // No parameter sets, and a path that is 8 minutes off, which matches no time zone.
    write_file(directory_ / "front.mp4", make_clip({.samples = {nal("\x65 key")}}));
    convert("--force");
    const std::string moved = directory_ / "2018/06/22/18";
    boost::filesystem::create_directories(moved);
    write_file(moved + "/1309-00A10380e.ps", data());
    write_file(moved + "/1309-00A10380e.psi", index());
    const json off = json_of("info 2018", 1).at("recordings")[0];
    EXPECT_EQ(off.at("path_contradicts"), true);
    EXPECT_EQ(off.at("parameter_sets"), false);
    EXPECT_THAT(off.at("hindrances")[0], HasSubstr("no parameter sets"));
    EXPECT_THAT(ps("info 2018").out, HasSubstr("which matches no time zone"));
    EXPECT_EQ(ps("info recordings").status, 0);  // export can take the parameter sets from a clip
    EXPECT_EQ(ps("info --strict recordings").status, 1);
}

TEST_F(PsProgramTest, VerifyComparesTheRecordingsOfACamera) {
    convert();
    const std::string moved = directory_ / "recordings/2018/06/22/18";
    boost::filesystem::create_directories(moved);
    for (const std::string& place : {moved + "/1309-00A10380e.ps", directory_ / "copy.ps"}) {
        write_file(place, data());
        write_file(place + "i", index());
    }
    const json document = json_of("verify recordings", 1);  // because of the path that is 8 minutes off
    EXPECT_EQ(document.at("recordings")[1].at("path_contradicts"), true);
    const json& camera = document.at("cameras")[0];
    EXPECT_EQ(camera.at("id"), "00A10380");
    EXPECT_EQ(camera.at("names"), json::array({"Front gate"}));
    EXPECT_EQ(camera.at("recorded_ms"), 999);  // three frames of 333 ms
    EXPECT_EQ(camera.at("bytes"), 2 * (data().size() + index().size()));
    EXPECT_EQ(camera.at("overlaps"), json::array());  // not longer than a second
    EXPECT_EQ(camera.at("copies")[0].at("original"), kFound);
    EXPECT_THAT(ps("verify recordings").out,
                HasSubstr("1309-00A10380e.ps: same times and size as " + kFound));
    EXPECT_EQ(ps("verify copy.ps recordings/2018/06/22/16").status, 0);
}

TEST_F(PsProgramTest, FramesListsEntriesInATimeRange) {
    convert();
#ifndef _WIN32  // the payloads' digests need a library
    const json frames = json_of("frames --payloads " + kPath, 0).at("frames");
    EXPECT_EQ(frames[0].at("nal_types"), json::array({7, 8, 5}));
    EXPECT_EQ(frames[1].at("previous"), 0);
    EXPECT_EQ(frames[0].at("sha256"), frames[2].at("sha256"));
    EXPECT_NE(frames[0].at("sha256"), frames[1].at("sha256"));
    EXPECT_EQ(json_of("frames " + kPath, 0).at("frames")[0].count("sha256"), 0U);
#endif
    const std::string heading = "number,slot,time,key,size,position,previous,next,key_distance\n";
    EXPECT_EQ(ps("frames --csv --from 2018-06-22T16:05:09.001Z --to 2018-06-22T16:05:09.600Z " + kPath).out,
              heading + "1,0,2018-06-22T16:05:09.333Z,0,64,2074,0,2,1\n");
    EXPECT_THAT(ps("frames " + kPath).out, HasSubstr("key distance"));
    const std::string sound_index = index();
#ifndef _WIN32
    boost::filesystem::rename(directory_ / kPath, directory_ / "data");
    EXPECT_THAT(json_of("frames --payloads " + kPath, 2).at("unusable")[0].at("reason"),
                "3 payloads of the data file cannot be read");
    boost::filesystem::rename(directory_ / "data", directory_ / kPath);
#endif
    write_file(directory_ / (kPath + "i"), sound_index.substr(0, kEntriesAt));
    EXPECT_EQ(ps("frames " + kPath).status, 2);
    EXPECT_THAT(ps("frames " + kPath).err, HasSubstr("the index has no entries"));
    boost::filesystem::rename(directory_ / kPath, directory_ / "data");
    EXPECT_EQ(ps("frames " + kPath).status, 0);
#ifndef _WIN32
    EXPECT_THAT(ps("frames --payloads " + kPath).err, HasSubstr("no data file"));
#endif
    boost::filesystem::rename(directory_ / "data", directory_ / kPath);
    boost::filesystem::remove(directory_ / (kPath + "i"));
    EXPECT_THAT(ps("frames " + kPath).err, HasSubstr("no index"));
}

TEST_F(PsProgramTest, RepairRebuildsTheIndexAndKeepsTheOldFiles) {
    convert();
    const std::string whole = data();
    const std::string sound_index = index();
    EXPECT_EQ(ps("repair recordings").out, kFound + ": no faults\n");

    // An interrupted conversion: the entry count is zero, and a packet is incomplete.
    const std::string broken_index = std::string(sound_index).replace(20, 4, std::string(4, '\0'));
    const std::string cut = whole + whole.substr(1978, 50);
    write_file(directory_ / kPath, cut);
    write_file(directory_ / (kPath + "i"), broken_index);
    EXPECT_EQ(ps("repair --dry-run recordings").status, 1);
    EXPECT_EQ(data(), cut);
    EXPECT_EQ(ps("repair --output beside.ps " + kPath).status, 0);
    EXPECT_EQ(read_file(directory_ / "beside.ps") + read_file(directory_ / "beside.psi"),
              whole + sound_index);
    EXPECT_EQ(data(), cut);

    const Outcome ended = ps("repair recordings");
    EXPECT_EQ(ended.out, kFound + ": index of 3 entries rebuilt, 50 bytes cut off the data file\n")
        << ended.err;
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(data(), whole);
    EXPECT_EQ(index(), sound_index);
    EXPECT_EQ(read_file(directory_ / (kPath + ".tail-" + std::to_string(whole.size()) + ".bak")),
              cut.substr(whole.size()));
    EXPECT_EQ(read_file(directory_ / (kPath + "i.bak")), broken_index);

    // The .bak files of the first repair are not overwritten.
    write_file(directory_ / (kPath + "i"), "x");
    EXPECT_EQ(ps("repair recordings").status, 0);
    EXPECT_EQ(read_file(directory_ / (kPath + "i.bak.1")), "x");
    EXPECT_EQ(read_file(directory_ / (kPath + "i.bak")), broken_index);
    write_file(directory_ / kPath, std::string(whole).replace(1978, 40, 40, 'x'));
    const Outcome damaged = ps("repair recordings");
    EXPECT_EQ(damaged.status, 1);
    EXPECT_THAT(damaged.out, HasSubstr("not repaired"));

    // Nothing can be saved.
    write_file(directory_ / kPath, whole.substr(0, 2'000));
    EXPECT_EQ(ps("repair recordings").status, 0);
    write_file(directory_ / kPath, "short");
    const std::string advice = "; restore the data file from a copy\n";
    EXPECT_THAT(ps("repair recordings").out, testing::EndsWith("no packet is intact" + advice));
    EXPECT_THAT(ps("repair --output saved.ps " + kPath).out,
                testing::EndsWith("no packet is intact" + advice));
    boost::filesystem::remove(directory_ / kPath);
    EXPECT_THAT(ps("repair recordings").out, testing::EndsWith("the index contains no frames" + advice));
    const Outcome misnamed = ps("repair --output saved " + kPath);
    EXPECT_EQ(misnamed.status, 2);
    EXPECT_EQ(misnamed.err, "norvanepi-ps: error: saved: unknown extension; use .ps\n");
}

TEST_F(PsProgramTest, RepairCorrectsAFieldAndSavesTheOldOne) {
    convert();
    const std::string whole = data();
    std::string wrong = whole;
    wrong.at(1978 + 31) ^= 2;  // the year of the first packet
    write_file(directory_ / kPath, wrong);
    EXPECT_EQ(ps("repair --trust data --output as-data.ps " + kPath).status, 0);
    EXPECT_THAT(ps("info as-data.ps").out, HasSubstr("2019-06-22"));
    const json repaired = json_of("repair recordings", 0).at("recordings")[0];
    EXPECT_EQ(repaired.at("result"), "repaired");
    EXPECT_EQ(repaired.at("corrected_fields"), 1);
    EXPECT_EQ(repaired.at("index_rebuilt"), false);
    EXPECT_EQ(data(), whole);
    const std::string saved = repaired.at("backups")[0];
    EXPECT_EQ(read_file(directory_ / saved), "000007d8: d626\n");
    EXPECT_EQ(json_of("repair recordings", 0).at("recordings")[0].at("result"), "no faults");
}

TEST_F(PsProgramTest, RepairSalvagesWhatIsIntact) {
    const std::string key = nal("\x67 sequence") + nal("\x68 picture") + nal("\x65" + std::string(5000, 'k'));
    std::vector<std::string> samples;
    for (std::size_t i = 0; i < 8; ++i) samples.push_back(key + nal("\x41" + std::string(28 + 32 * i, 'o')));
    write_file(directory_ / "front.mp4", make_clip({.samples = samples}));
    convert();
    const std::string whole = data();
    const std::size_t smallest = (whole.size() - 1978 - 32 * 28) / 8;
    const auto size = [&](std::size_t packet) { return smallest + 32 * packet; };
    const auto at = [&](std::size_t packet) { return 1978 + packet * smallest + 16 * packet * (packet - 1); };
    const std::string junk(4096, 'j');
    const struct {
        const char* what;
        std::string data;
        std::size_t frames;
        std::size_t bytes;
    } cases[] = {
        {"head zeroed", std::string(1978, '\0') + whole.substr(1978), 8, 1978},
        {"head lost", whole.substr(1978), 8, 0},
        {"most of the head lost", std::string(32, '\0') + whole.substr(1978), 8, 32},
        {"bytes before the head", junk + whole, 8, 4096 + 1978},
        {"head cut", whole.substr(4096), 7, at(1) - 4096},
        {"bytes in a packet", std::string(whole).insert(at(3) + 100, junk), 7, size(3) + 4096},
        {"zeros in a packet", std::string(whole).insert(at(3) + 2000, 4096, '\0'), 7, size(3) + 4096},
        {"bytes between packets", std::string(whole).insert(at(3), junk), 8, 4096},
        {"cut within packets", std::string(whole).erase(at(3) + 100, 4096), 7, size(3) - 4096},
        {"cut to the end of a packet", std::string(whole).erase(at(3) + 100, size(4)), 6, size(3)},
        {"cut within the last packet but one", std::string(whole).erase(at(6) + 100, 96), 7, size(6) - 96},
        {"bytes in the last packet but one", std::string(whole).insert(at(6) + 100, junk), 7, size(6) + 4096},
        {"zeros between packets", std::string(whole).insert(at(3), 4096, '\0'), 8, 4096},
        {"end of a packet and next header zeroed", std::string(whole).replace(at(3) - 50, 82, 82, '\0'), 6,
         size(2) + size(3)},
        {"packet header zeroed", std::string(whole).replace(at(3), 32, 32, '\0'), 7, size(3)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        write_file(directory_ / kPath, c.data);
        const Outcome refused = ps("repair " + kPath);
        EXPECT_EQ(refused.status, 1);
        EXPECT_THAT(refused.out, HasSubstr("--output FILE saves what is intact"));
        const json saved = json_of("repair --force --output saved.ps " + kPath, 0).at("recordings")[0];
        EXPECT_EQ(saved.at("result"), "salvaged");
        EXPECT_EQ(saved.at("frames"), c.frames);
        EXPECT_EQ(saved.at("dropped_frames"), 8 - c.frames);
        EXPECT_EQ(saved.at("dropped_bytes"), c.bytes);
        EXPECT_THAT(ps("verify saved.ps").out, HasSubstr("saved.ps: verified"));
        EXPECT_EQ(data(), c.data);
        if (c.what == std::string("bytes before the head")) {
            EXPECT_EQ(read_file(directory_ / "saved.ps"), whole);
        }
        if (c.frames == 8) {
            EXPECT_EQ(read_file(directory_ / "saved.ps").substr(1978), whole.substr(1978));
        }
    }

    // A wrong size that leads past the end of the file is not an incomplete last packet.
    std::string too_large = whole;
    too_large[at(3) + 24] = static_cast<char>(too_large[at(3) + 24] ^ 16);
    write_file(directory_ / kPath, too_large);
    boost::filesystem::remove(directory_ / (kPath + "i"));
    EXPECT_EQ(ps("repair " + kPath).status, 1);
    EXPECT_EQ(data(), too_large);
    EXPECT_THAT(ps("repair --output saved.ps " + kPath).out,
                HasSubstr("saved.ps: already exists; use --force"));
    EXPECT_THAT(ps("repair --force --output " + kPath + " " + kPath).out,
                HasSubstr("is the recording itself"));
    EXPECT_EQ(ps("repair --output none/saved.ps " + kPath).status, 2);
}

#ifndef _WIN32
TEST_F(PsProgramTest, RepairKeepsOwnerAndModeAndGivesTheReasonOfAFailure) {
    convert();
    const std::string whole = data();
    write_file(directory_ / (kPath + "i"), "x");
    const std::string index_path = directory_ / (kPath + "i");
    ASSERT_EQ(::chmod(index_path.c_str(), 0640), 0);
    const bool root = ::geteuid() == 0;
    if (root) {
        ASSERT_EQ(::chown(index_path.c_str(), 65534, 65534), 0);
    }
    EXPECT_EQ(ps("repair recordings").status, 0);
    struct ::stat status {};
    ASSERT_EQ(::stat(index_path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_EQ(status.st_uid, root ? 65534 : ::geteuid());

    // No file may grow beyond a limit: nothing is changed, and the reason is named.
    const std::string cut = whole + whole.substr(1978, 50);
    write_file(directory_ / kPath, cut);
    const Outcome full = run("bash -c \"set -o pipefail; (trap '' XFSZ; ulimit -f 0; exec " +
                             full_path(NORVANEPI_PS) + " repair recordings) | cat\"");
    EXPECT_EQ(full.status, 2) << full.err;
    EXPECT_THAT(full.out, HasSubstr("cannot be written: File too large"));
    EXPECT_EQ(data(), cut);
}
#endif

#ifndef _WIN32
TEST_F(PsProgramTest, RepairKeepsLinksAndChangesTheFilesTheyLeadTo) {
    convert();
    const std::string whole = data();
    const std::string sound = index();
    boost::filesystem::create_directory(directory_ / "store");
    write_file(directory_ / "store/data", whole + "tail");
    write_file(directory_ / "store/index", "x");
    boost::filesystem::create_symlink("store/data", directory_ / "link.ps");
    boost::filesystem::create_symlink("store/index", directory_ / "link.psi");
    const auto expect_kept = [&] {
        EXPECT_TRUE(boost::filesystem::is_symlink(directory_ / "link.ps"));
        EXPECT_TRUE(boost::filesystem::is_symlink(directory_ / "link.psi"));
        EXPECT_EQ(read_file(directory_ / "store/data"), whole);
        EXPECT_EQ(read_file(directory_ / "store/index"), sound);
    };
    EXPECT_EQ(ps("repair link.ps").status, 0);
    expect_kept();
    EXPECT_EQ(read_file(directory_ / ("store/data.tail-" + std::to_string(whole.size()) + ".bak")), "tail");
    EXPECT_EQ(read_file(directory_ / "store/index.bak"), "x");
    write_file(directory_ / "store/data", "old");
    EXPECT_EQ(ps("repair --force --output link.ps " + kPath).status, 0);
    expect_kept();
}

TEST_F(PsProgramTest, RepairNeedsNoSpaceWithoutABackup) {
    const SmallDisk disk(directory_ / "disk");
    if (!disk.mounted()) GTEST_SKIP() << "mounting is not permitted";
    convert();
    const std::string path = directory_ / "disk/r.ps";
    for (const std::size_t tail : {0U, 50U, 10'000U}) {
        const std::string cut = data() + std::string(tail, '\0');
        const std::string unfinished = index().replace(20, 4, 4, '\0');
        write_file(path, cut);
        write_file(path + "i", unfinished);
        write_file(directory_ / "disk/rest", std::string(100'000, 'r'));  // truncated for lack of space
        const Outcome full = ps("repair disk");
        EXPECT_EQ(full.status, 2);
        EXPECT_THAT(full.out, HasSubstr("No space left on device; --no-backup needs no space"));
        EXPECT_EQ(read_file(path), cut);
        EXPECT_EQ(read_file(path + "i"), unfinished);
        EXPECT_EQ(json_of("repair --no-backup disk", 0).at("recordings")[0].at("backups"), json::array());
        EXPECT_EQ(read_file(path), data());
        EXPECT_EQ(read_file(path + "i"), index());
        boost::filesystem::remove(directory_ / "disk/rest");
    }
    EXPECT_EQ(ps("repair --no-backup --output other.ps disk/r.ps").status, 2);
    const std::string unfinished = index().replace(20, 4, 4, '\0');
    write_file(path + "i", unfinished);
    boost::filesystem::create_hard_link(path + "i", path + "i.bak");  // of an interrupted repair
    EXPECT_EQ(ps("repair --no-backup disk/r.ps").status, 0);
    EXPECT_EQ(read_file(path + "i"), index());
    EXPECT_EQ(read_file(path + "i.bak"), unfinished);
}
#endif

TEST_F(PsProgramTest, ProbeReportsTheRuleAndMatchesConvert) {
    const ClipTrack track = playable();
    ClipTrack long_offsets = track;
    long_offsets.order.back() = "co64";
    ClipTrack no_sizes = track;
    no_sizes.order = {"stsd", "stts", "stsc", "stco"};
    ClipTrack compact_sizes = track;
    compact_sizes.boxes["stsz"] = box("stz2", from_hex("00000000 00000008 00000003 24 0B 24"));
    ClipTrack other_coding = track;
    other_coding.format = "hvc1";
    ClipTrack bad_length = track;
    bad_length.samples[1] = std::string("\x7F\0\0\0 other", 10);
    ClipTrack large = track;
    large.samples[1] = nal(unit_of(4'194'304));
    ClipTrack short_sound = track;
    short_sound.boxes["stsd"] = box("stsd", zeros(4) + be32(1) + box("mp4a", std::string(28, '\0')));
    const std::string meta = box("meta", std::string(4, '\0') + box("hdlr", std::string(24, '\0')));
    const std::string whole = make_clip(track);
    const struct {
        std::string clip;
        const char* rule;
        const char* result;
        const char* safe_result;
    } cases[] = {
        {whole, "", "converted", "converted"},
        {"not a clip", "no-ftyp", "refused", "refused"},
        {box("ftyp", "isom") + box("moof", ""), "fragmented", "refused", "refused"},
        {make_clip(long_offsets), "co64", "refused", "converted"},
        {make_clip(no_sizes), "no-tables", "refused", "refused"},
        {make_clip(compact_sizes), "no-tables", "refused", "converted"},
        {make_clip(Clip{.tracks = {track}, .in_front = meta}), "meta-ahead", "refused", "converted"},
        {make_clip(short_sound), "short-sample-entry", "refused", "refused"},
        {box("ftyp", "isom") + box("free", "12"), "no-moov", "refused", "refused"},
        {whole.substr(0, 60), "truncated", "refused", "refused"},
        {whole.substr(0, whole.size() - 1), "truncated", "converted in part", "converted in part"},
        {make_clip(bad_length), "bad-nal-length", "converted in part", "converted in part"},
        {make_clip(large), "large-sample", "converted in part", "converted in part"},
        {make_clip(other_coding), "not-h264", "converted", "refused"},
    };
    const std::string line = "convert --force front.mp4 --start 2018-06-22T16:05:09Z --out recordings";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rule);
        write_file(directory_ / "front.mp4", c.clip);
        const json probe = json_of("probe front.mp4", *c.rule == '\0' ? 0 : 1).at("clips")[0];
        EXPECT_EQ(probe.at("result"), c.result) << probe;
        EXPECT_EQ(probe.at("findings").empty() ? "" : probe.at("findings")[0].at("rule"), c.rule) << probe;
        const Outcome ended = ps(line);
        EXPECT_EQ(ended.status == 0, probe.at("result") == "converted") << ended.err;
        EXPECT_EQ(ended.err.find("recorded as H.264") != std::string::npos,
                  std::string_view(c.rule) == "not-h264");
        const json& safe = probe.at("safe");
        EXPECT_EQ(safe.at("result"), c.safe_result) << probe;
        const Outcome safely = ps(line + " --profile safe");
        EXPECT_EQ(safely.status == 0, safe.at("reason") == nullptr) << safely.err;
        std::string reason = safe.at("reason").is_null() ? "" : safe.at("reason").get<std::string>();
        if (reason.ends_with('.')) reason.pop_back();  // the path of the recording may precede the period
        EXPECT_EQ(reason.empty(), safely.status == 0);
        EXPECT_THAT(safely.err, HasSubstr(reason));
        EXPECT_EQ(read_file(directory_ / "front.mp4"), c.clip);
    }
}

TEST_F(PsProgramTest, ProbeShowsWhatTheSafeProfileChanges) {
    ClipTrack track = playable();
    track.samples[2] = nal("\x65 key");
    track.times = TrackTimes{.durations = {100, 300, 600}};  // three times 333 ms by default
    track.sets = AvcSets{};
    track.format = "avc3";
    write_file(directory_ / "front.mp4", make_clip(track));
    const std::string converted = "  safe profile: converted, 3 frames, 2 key frames, ";
    EXPECT_THAT(ps("probe front.mp4").out,
                HasSubstr(converted + "1 with parameter sets, times differ by up to 267 ms\n"));
    track.sets = AvcSets{.sequence = {"\x67 sequence"}, .picture = {"\x68 picture"}};
    track.times->durations = {333, 334, 333};
    write_file(directory_ / "front.mp4", make_clip(track));
    EXPECT_THAT(ps("probe front.mp4").out,
                HasSubstr(converted + "all with parameter sets, times as by default\n"));
    track.format = "mp4a";  // the exit status is that of the default profile, which writes no frames
    write_file(directory_ / "front.mp4", make_clip(track));
    const Outcome sound = ps("probe front.mp4");
    EXPECT_EQ(sound.status, 0);
    EXPECT_THAT(sound.out, HasSubstr("  safe profile: refused: No H.264 video in mp4 container - "
                                     "front.mp4 contains mp4a.\n"));
}

TEST_F(PsProgramTest, ConvertReplacesARecordingOnlyWithForce) {
    convert();
    write_file(directory_ / (kPath + "i"), "other content");
    const std::string line =
        "convert front.mp4 --start 2018-06-22T16:05:09Z --out recordings --identifier "
        "10551296 --device 3 ";
    const Outcome refused = ps(line);
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, HasSubstr("already exists"));
    EXPECT_EQ(index(), "other content");
    EXPECT_EQ(ps(line + "--force front.mp4").status, 0);  // the second clip starts one second later
    EXPECT_THAT(ps("verify recordings").err, HasSubstr("2 recordings, 0 with faults"));
}

#ifndef _WIN32
TEST_F(PsProgramTest, ConvertNeverLeavesAnIndexBesideTheDataOfAnotherRecording) {
    const SmallDisk disk(directory_ / "disk");
    if (!disk.mounted()) GTEST_SKIP() << "mounting is not permitted";
    convert();
    const std::string recorded = data();
    const std::string indexed = index();
    ClipTrack other = playable();
    other.samples.pop_back();
    write_file(directory_ / "front.mp4", make_clip(other));
    const std::string path = directory_ / kPath;
    write_file(directory_ / "disk/mounted", recorded);
    ASSERT_EQ(::mount((directory_ / "disk/mounted").c_str(), path.c_str(), nullptr, MS_BIND, nullptr), 0);
    const std::string line =
        "convert front.mp4 --force --start 2018-06-22T16:05:09Z --out recordings --identifier 10551296 "
        "--device 3";
    const Outcome ended = ps(line);  // a mount point cannot be replaced
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, HasSubstr(kPath + ": cannot be written: Device or resource busy"));
    EXPECT_EQ(::umount(path.c_str()), 0);
    EXPECT_EQ(index(), "");
    EXPECT_EQ(ps("repair recordings").status, 0);
    EXPECT_EQ(data(), recorded);
    EXPECT_EQ(index(), indexed);
    EXPECT_EQ(ps(line).status, 0);
    EXPECT_EQ(json_of("verify recordings", 0).at("recordings")[0].at("frames"), 2);
}
#endif

TEST_F(PsProgramTest, ConvertKeepsWhatIsCompleteAndNamesTheClipThatFailed) {
    const std::string whole = read_file(directory_ / "front.mp4");
    write_file(directory_ / "cut.mp4", whole.substr(0, whole.size() - 1));
    write_file(directory_ / "text.mp4", "not a clip");
    const std::string line = " --start 2018-06-22T16:05:09Z --identifier 10551296 --device 3 --out ";
    const json shown = json_of("convert front.mp4 cut.mp4 front.mp4" + line + "recordings", 1);
    const json& clips = shown.at("conversions");
    EXPECT_EQ(clips.at(0).at("result"), "converted");
    EXPECT_EQ(clips.at(0).at("recording").at("path"), kPath);
    EXPECT_EQ(clips.at(0).at("frames"), 3);
    EXPECT_EQ(clips.at(1).at("result"), "converted in part");
    EXPECT_EQ(clips.at(1).at("frames"), 2);
    EXPECT_THAT(ps("verify recordings").err, HasSubstr("2 recordings, 0 with faults"));
    EXPECT_EQ(clips.at(2).at("recording"), nullptr);
    EXPECT_THAT(clips.at(2).at("reason").get<std::string>(), HasSubstr("start is unknown"));

    const Outcome failed = ps("convert text.mp4" + line + "other");
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.out, "");
    EXPECT_EQ(failed.err,
              "norvanepi-ps: error: text.mp4: not converted: Unsupported file format - text.mp4.\n");
    const Outcome blocked = ps("convert front.mp4" + line + "front.mp4");
    EXPECT_EQ(blocked.status, 2);
    EXPECT_THAT(blocked.err, HasSubstr("front.mp4: not converted: front.mp4/2018/06/22/16: cannot be "));
    for (const std::string year : {"1999", "1970"}) {
        const Outcome early = ps("convert front.mp4 --out other --start " + year + "-12-31T00:00:00Z");
        EXPECT_EQ(early.status, 2);
        EXPECT_THAT(early.err, HasSubstr("--start: a recording can only store the years 2000 to 2127"));
    }
    EXPECT_FALSE(boost::filesystem::exists(directory_ / "other"));
}

TEST_F(PsProgramTest, GapsListsStateFilesAndJournals) {
    write_file(
        directory_ / "state.xml",
        R"(<Pavo><Devices ID="7"><Device Number="3" DisconnectTime="1527847190" Channel="2"/></Devices>)"
        R"(<Operations><Operation Devices="7" Device="12" GUID="3f2b8c1e-5d4a-4e0b-9a7c-21d0c6e4f8a5" )"
        R"(StartTime="1527840000" EndTime="1527843600" Attempts="5" FailedTime="1527850000" )"
        R"(Reason="reported" ErrorCode="-4"/></Operations></Pavo>)");
    write_file(directory_ / "journal",
               "b5bc7ab8 <Added><Gap Devices=\"7\" Device=\"3\" Channel=\"1\" Time=\"1527847190\"/></Added>\n"
               "0a3c8de2 <Alive Time=\"1527847200\"/>\n");
    write_file(directory_ / "bad.xml",
               "<Pavo><Devices ID='7'><Device Number='3' DisconnectTime='-11'/>"
               "<Device Number='4' DisconnectTime='5'/></Devices></Pavo>");
    write_file(directory_ / "other.xml", "<settings/>");
    const json files = json_of("gaps state.xml journal bad.xml other.xml", 1).at("state_files");
    EXPECT_THAT(files[3].at("fault"), HasSubstr("not a state file"));
    EXPECT_EQ(files[0].at("gaps")[0].at("channel"), 2);
    EXPECT_EQ(files[0].at("gaps")[0].at("since"), "2018-06-01T09:59:50.000Z");
    EXPECT_EQ(files[0].at("operations")[0].at("stage"), "failed");
    EXPECT_EQ(files[0].at("operations")[0].at("failed").at("error_code"), -4);
    EXPECT_EQ(files[0].at("fault"), nullptr);
    EXPECT_EQ(files[1].at("kind"), "journal");
    EXPECT_EQ(files[1].at("gaps"), json::array());  // the checksums are wrong
    EXPECT_NE(files[1].at("fault"), nullptr);
    EXPECT_EQ(files[2].at("gaps").size(), 2U);
    EXPECT_THAT(files[2].at("fault"), HasSubstr("without the option journal"));

    const Outcome shown = ps("gaps missing state.xml");
    EXPECT_EQ(shown.status, 2);
    EXPECT_THAT(shown.err, HasSubstr("missing: No such file or directory"));
    EXPECT_THAT(shown.out, HasSubstr("state.xml: state file, 1 open gap, 1 operation\n"));
    EXPECT_THAT(shown.out, HasSubstr("failed  5         reported -4 since 2018-06-01 10:46:40"));
}

TEST_F(PsProgramTest, ManualAndCompletionContainTheSubcommands) {
    for (const char* word : {"verify", "repair"}) {
        EXPECT_THAT(ps("--print-man").out, HasSubstr(std::string(".SS \"") + word)) << word;
        EXPECT_THAT(ps("--print-completion").out, HasSubstr(word));
    }
    EXPECT_THAT(ps("--print-man").out, HasSubstr("\\fB\\-o, \\-\\-out\\fR FILE"));
    EXPECT_THAT(ps("--version").out, testing::StartsWith("norvanepi-ps 1."));
    EXPECT_EQ(ps("help verify").out, ps("verify --help").out);
    EXPECT_THAT(ps("verfiy .").err, HasSubstr("did you mean 'verify'?"));
}

#ifndef _WIN32
TEST_F(PsProgramTest, CompletionWorksInBashAndFailedOutputIsAnError) {
    write_file(directory_ / "completion", ps("--print-completion").out);
    EXPECT_EQ(run("bash -c \". ./completion; COMP_WORDS=(norvanepi-ps verify --d) COMP_CWORD=2; "
                  "_norvanepi_ps; echo ${COMPREPLY[@]}\"")
                  .out,
              "--deep\n");
    EXPECT_EQ(run("bash -c \". ./completion; COMP_WORDS=(norvanepi-ps convert --profile s) COMP_CWORD=3; "
                  "_norvanepi_ps; echo ${COMPREPLY[@]}\"")
                  .out,
              "safe\n");
    EXPECT_EQ(run("sh -c \"" NORVANEPI_PS " probe front.mp4 >/dev/full\"").status, 2);
}
#endif

}  // namespace
