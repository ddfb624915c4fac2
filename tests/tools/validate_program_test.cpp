// `validate` as a program: the built module passes, and each faulty variant of it has a finding.

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/program.h"
#include "tests/tools/variant_faults.h"
#include "tools/cli/jobs.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;

const std::string kSuite = full_path(NORVANEPI_RECORDER) + " validate ";
const std::string kModule = full_path(NORVANEPI_MODULE);
const std::string kVariants = full_path(VARIANT_MODULE);
constexpr const char* kWrapped = "NORVANEPI_SOUND_MODULE";  // read by the variants

class ValidateTest : public ProgramTest {
  protected:
    Outcome validate(const std::string& arguments) const {
        return run(kSuite + arguments, {{kWrapped, kModule}});
    }
};

TEST_F(ValidateTest, TheBuiltModuleConforms) {
    const Outcome ended = validate(kModule + " --json");
    EXPECT_EQ(ended.status, 0) << ended.out << ended.err;
#ifdef CHECK_JSON
    write_file(directory_ / "printed.json", ended.out);
    EXPECT_EQ(run(CHECK_JSON " " SCHEMA " printed.json").err, "") << ended.out;
#endif
    const json results = json::parse(ended.out, nullptr, false);
    EXPECT_EQ(results.at("found"), 0);
    EXPECT_EQ(results.at("passed").get<std::size_t>() + results.at("skipped").get<std::size_t>(),
              results.at("cases").size());
    EXPECT_GE(results.at("cases").size(), 50U);
}

TEST_F(ValidateTest, ConformsWithTheSafeProfile) {
    // The cases about clips and answers that only the default accepts are skipped.
    const Outcome ended = validate(kModule + " --profile safe --json");
    EXPECT_EQ(ended.status, 0) << ended.out << ended.err;
    const json results = json::parse(ended.out, nullptr, false);
    EXPECT_GE(results.at("passed"), 60U);
}

TEST_F(ValidateTest, AVariantWithoutAFaultConforms) {
    const Outcome ended = validate(kVariants);
    EXPECT_EQ(ended.status, 0) << ended.out << ended.err;
}

TEST_F(ValidateTest, CasesAreListedAndFiltered) {
    const Outcome list = validate("--list --filter state.");
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.out, HasSubstr("state.restart"));
    EXPECT_THAT(list.out, testing::Not(HasSubstr("records.")));

    const Outcome one = validate(kModule + " --filter order.again --out work");
    EXPECT_EQ(one.out, "ok       order.again\n1 cases, 0 with a finding\n") << one.err;
    EXPECT_THAT(read_file(directory_ / "work/order.again/transcript.jsonl"), HasSubstr("saving state"));
}

/// A finding names the call, the field or the differing part of a text.
TEST_F(ValidateTest, FindingsNameThePlace) {
    const auto finding = [&](const std::string& fault, const std::string& found_by) {
        return run(kSuite + kVariants + " --patience 2 --out work --filter " + found_by,
                   {{kWrapped, kModule}, {"NORVANEPI_FAULT", fault}})
            .out;
    };
    using Expected = std::tuple<std::string, std::string, std::string>;
    std::vector<Expected> all = {
        {"write count", "records.usual-calls", "Write left count (byte 28 of its output record)"},
        {"does not return from Close", "start-and-end", "did not return from Close within 1 s"},
        {"exception from Close", "start-and-end", "Close threw an exception: a planted fault"},
        {"process ended in Close", "start-and-end", "ended the process in Close"},
        {"times saved in milliseconds", "state.saved-in-order", "the state file: at byte "},
        {"features in the other spelling", "start-and-end", "found Vane ID=\"5308416\""},
        {"printed", "start-and-end", "to standard output: norvanepi is open"}};
#ifndef _WIN32
    all.insert(all.end(),
               {{"crashes at a malformed text", "buffers.not-well-formed", "crashed in "},
                {"crash at the end of the library", "module.load", "crashed in the end of the library"},
                {"umask", "start-and-end", "changed the umask from"}});
#endif
    for (const auto& [fault, found_by, text] : all) {
        EXPECT_THAT(finding(fault, found_by), HasSubstr(text)) << fault;
    }
}

TEST_F(ValidateTest, ReportsForOtherProgramsContainTheFindings) {
    const Outcome ended = run(kSuite + kVariants + " --filter documents. --junit report.xml --json",
                              {{kWrapped, kModule}, {"NORVANEPI_FAULT", "features in the other spelling"}});
    EXPECT_EQ(ended.status, 1) << ended.err;
    const std::string xml = read_file(directory_ / "report.xml");
    EXPECT_THAT(xml, HasSubstr("<testcase classname=\"documents\" name=\"documents.start-and-end\""));
    EXPECT_THAT(xml, HasSubstr("<failure message=\"a document differs"));
    const json results = json::parse(ended.out, nullptr, false);
    boost::filesystem::path kept;
    for (const json& each : results.at("cases")) {
        const bool conforms = each.at("conformant");
        EXPECT_EQ(each.at("folder").is_null(), conforms);
        if (conforms) continue;
        const boost::filesystem::path folder = each.at("folder").get<std::string>();
        EXPECT_THAT(read_file((folder / "conversation.txt").string()), HasSubstr("NorVane ID"));
        kept = folder.parent_path();
    }
    boost::filesystem::remove_all(kept);
}

TEST_F(ValidateTest, WrongUsageGivesOneLineAndStatus2) {
    for (const auto& [arguments, message] :
         {std::pair<std::string, std::string>{"missing.so", "missing.so: no such file"},
          {".", ": no such file"},
          {kModule + " --filter nothing.at-all", "no case has a matching name"},
          {kModule + " --jobs 0", "--jobs"}}) {
        const Outcome ended = validate(arguments);
        EXPECT_EQ(ended.status, 2) << arguments;
        EXPECT_THAT(ended.err, HasSubstr(message));
        EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
    }
}

TEST_F(ValidateTest, EveryFaultyVariantHasAFinding) {
    const auto& faults = variants::kFaults;
    const auto run_with_fault = [&](std::size_t i) {
        const std::string own = directory_ / std::to_string(i);
        boost::filesystem::create_directory(own);
        const auto run_case = [&] {
            return run_program(kSuite + kVariants + " --json --patience 6 --jobs 1 --out work --filter " +
                                   std::string(faults[i].found_by),
                               own, {{kWrapped, kModule}, {"NORVANEPI_FAULT", std::string(faults[i].name)}});
        };
        // On a busy machine, what comes too early may still come in time.
        Outcome ended = run_case();
        for (int repeat = 0; repeat < 3 && ended.status == 0; ++repeat) ended = run_case();
        return ended;
    };
    const auto check = [&](std::size_t i, const Outcome& ended) {
        EXPECT_EQ(ended.status, 1) << faults[i].name << ended.out << ended.err;
        const json results = json::parse(ended.out, nullptr, false);
        if (results.is_discarded()) return;
        // In the XML report of the test: the findings as a user reads them.
        for (const json& each : results.at("cases")) {
            RecordProperty("fault " + std::to_string(i),
                           std::string(faults[i].name) + " - " + each.at("finding").dump());
        }
    };
    cli::run_in_order<Outcome>(faults.size(), 2, run_with_fault, check);
    EXPECT_GE(faults.size(), 100U);
}

}  // namespace
