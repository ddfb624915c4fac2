// The conformance suite as a program: the built module passes, and each faulty variant of it is found out.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/temp_directory.h"
#include "tests/tools/variant_faults.h"
#include "tools/cli/jobs.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

/// Runs the suite; outputs go below a name of the caller's.
Outcome validate(const std::string& output, const std::string& arguments,
                 const std::string& environment = "") {
    const std::string line = environment + " " NORVANEPI_RECORDER " validate " + arguments + " >" + output +
                             ".out 2>" + output + ".err </dev/null";
    const int ended = std::system(line.c_str());
    return {WIFEXITED(ended) ? WEXITSTATUS(ended) : -1, read_file(output + ".out"),
            read_file(output + ".err")};
}

class ValidateTest : public testing::Test {
  protected:
    TempDirectory directory_;
};

TEST_F(ValidateTest, TheBuiltModuleConforms) {
    const Outcome run = validate(directory_ / "run", NORVANEPI_MODULE " --json");
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    const json verdicts = json::parse(run.out, nullptr, false);
    EXPECT_EQ(verdicts.at("found"), 0);
    EXPECT_EQ(verdicts.at("passed"), verdicts.at("cases").size());
    EXPECT_GE(verdicts.at("cases").size(), 50U);
}

TEST_F(ValidateTest, TheLayerOfTheVariantsIsNoFaultItself) {
    const Outcome run = validate(directory_ / "run", VARIANT_MODULE);
    EXPECT_EQ(run.status, 0) << run.out << run.err;
}

TEST_F(ValidateTest, CasesAreListedAndChosen) {
    const Outcome list = validate(directory_ / "list", "--list --filter state.");
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.out, HasSubstr("state.restart"));
    EXPECT_THAT(list.out, testing::Not(HasSubstr("records.")));

    const std::string work = directory_ / "work";
    const Outcome one = validate(directory_ / "one", NORVANEPI_MODULE " --filter order.again --out " + work);
    EXPECT_EQ(one.out, "ok       order.again\n1 cases, 0 with a finding\n") << one.err;
    EXPECT_THAT(read_file(work + "/order.again/transcript.jsonl"), HasSubstr("saving state"));
}

TEST_F(ValidateTest, WhatCannotBeTriedGivesOneLineAndStatus2) {
    const std::string module = NORVANEPI_MODULE;
    for (const auto& [arguments, message] :
         {std::pair<std::string, std::string>{"/missing.so", "no plug-in at"},
          {"/dev/null", "no plug-in at"},
          {module + " --filter nothing.at-all", "no case has such a name"},
          {module + " --jobs 0", "--jobs"}}) {
        const Outcome run = validate(directory_ / "run", arguments);
        EXPECT_EQ(run.status, 2) << arguments;
        EXPECT_THAT(run.err, HasSubstr(message));
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
}

TEST_F(ValidateTest, EveryFaultyVariantIsFoundOut) {
    const auto& faults = variants::kFaults;
    const auto try_fault = [&](std::size_t i) {
        const std::string output = directory_ / std::to_string(i);
        return validate(output,
                        VARIANT_MODULE " --json --patience 6 --jobs 1 --out " + output + ".d --filter " +
                            std::string(faults[i].found_by),
                        "NORVANEPI_FAULT='" + std::string(faults[i].name) + "'");
    };
    const auto check = [&](std::size_t i, const Outcome& run) {
        EXPECT_EQ(run.status, 1) << faults[i].name << run.out << run.err;
        const json verdicts = json::parse(run.out, nullptr, false);
        if (verdicts.is_discarded()) return;
        // Shown with --gtest_brief=0: what a build's maker would read.
        for (const json& each : verdicts.at("cases")) {
            const bool died = each.at("finding").dump().find("process ended") != std::string::npos;
            EXPECT_EQ(died, faults[i].kind == variants::Kind::kCrash) << faults[i].name << each;
            RecordProperty("fault " + std::to_string(i),
                           std::string(faults[i].name) + " - " + each.at("finding").dump());
        }
    };
    cli::OrderedJobs<Outcome>::run(faults.size(), 2, try_fault, check);
    EXPECT_GE(faults.size(), 30U);
}

}  // namespace
