// The conformance suite as a program: the built module passes, and each faulty variant of it is found out.

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
constexpr const char* kBehind = "NORVANEPI_SOUND_MODULE";  // the layer of the variants

class ValidateTest : public ProgramTest {
  protected:
    Outcome validate(const std::string& arguments) const {
        return run(kSuite + arguments, {{kBehind, kModule}});
    }
};

TEST_F(ValidateTest, TheBuiltModuleConforms) {
    const Outcome ended = validate(kModule + " --json");
    EXPECT_EQ(ended.status, 0) << ended.out << ended.err;
    const json verdicts = json::parse(ended.out, nullptr, false);
    EXPECT_EQ(verdicts.at("found"), 0);
    EXPECT_EQ(verdicts.at("passed"), verdicts.at("cases").size());
    EXPECT_GE(verdicts.at("cases").size(), 50U);
}

TEST_F(ValidateTest, TheLayerOfTheVariantsIsNoFaultItself) {
    const Outcome ended = validate(kVariants);
    EXPECT_EQ(ended.status, 0) << ended.out << ended.err;
}

TEST_F(ValidateTest, CasesAreListedAndChosen) {
    const Outcome list = validate("--list --filter state.");
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.out, HasSubstr("state.restart"));
    EXPECT_THAT(list.out, testing::Not(HasSubstr("records.")));

    const Outcome one = validate(kModule + " --filter order.again --out work");
    EXPECT_EQ(one.out, "ok       order.again\n1 cases, 0 with a finding\n") << one.err;
    EXPECT_THAT(read_file(directory_ / "work/order.again/transcript.jsonl"), HasSubstr("saving state"));
}

TEST_F(ValidateTest, WhatCannotBeTriedGivesOneLineAndStatus2) {
    for (const auto& [arguments, message] :
         {std::pair<std::string, std::string>{"missing.so", "missing.so: no such file"},
          {".", ": no such file"},
          {kModule + " --filter nothing.at-all", "no case has such a name"},
          {kModule + " --jobs 0", "--jobs"}}) {
        const Outcome ended = validate(arguments);
        EXPECT_EQ(ended.status, 2) << arguments;
        EXPECT_THAT(ended.err, HasSubstr(message));
        EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
    }
}

TEST_F(ValidateTest, EveryFaultyVariantIsFoundOut) {
    const auto& faults = variants::kFaults;
    const auto try_fault = [&](std::size_t i) {
        const std::string own = directory_ / std::to_string(i);
        boost::filesystem::create_directory(own);
        return run_program(kSuite + kVariants + " --json --patience 6 --jobs 1 --out work --filter " +
                               std::string(faults[i].found_by),
                           own, {{kBehind, kModule}, {"NORVANEPI_FAULT", std::string(faults[i].name)}});
    };
    const auto check = [&](std::size_t i, const Outcome& ended) {
        EXPECT_EQ(ended.status, 1) << faults[i].name << ended.out << ended.err;
        const json verdicts = json::parse(ended.out, nullptr, false);
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
