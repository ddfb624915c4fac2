// A whole retrieval in which each system call fails in turn.

#include "tests/support/system_calls.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <iostream>

#include "tests/faults/retrieval.h"

using system_calls::Effect;
using system_calls::Fault;
using system_calls::FaultInjection;
using system_calls::Kind;

namespace {

/// The object of a call, determined from its path.
enum class Target { kClip, kPair, kState, kJournal, kNewJournal, kRandom, kOutput, kTemporary };

Target target_of(const std::string& path) {
    const auto has = [&path](const char* part) { return path.find(part) != std::string::npos; };
    if (path.empty()) return Target::kRandom;
    if (has(".mp4")) return Target::kClip;
    if (has(".ps")) return Target::kPair;
    if (has("state")) return Target::kState;
    if (has("journal")) return path.ends_with(".new") ? Target::kNewJournal : Target::kJournal;
    return path.ends_with("/tmp/a") || path.ends_with("/tmp") ? Target::kTemporary : Target::kOutput;
}

constexpr const char* kNone = "";
constexpr const char* kNoTables = "No sample tables found";
constexpr const char* kNotRemoved = "Error deleting file";
constexpr const char* kNotOpened = "Error opening ps file";
// With the safe profile, one of these may accompany another line.
constexpr const char* kClipKept = "keeping clip";
constexpr const char* kFileKept = "cannot be read; it is kept as";
constexpr const char* kNoJournal = "'norvanepi_journal' cannot be written";
constexpr const char* kNotLoaded = "error opening or parsing norvanepi.xml";

/// The error lines that one failing call may cause. At least one of them must appear unless kNone is listed.
struct Rule {
    Kind kind;
    Target target;
    std::vector<std::string> lines;
};
const std::vector<Rule> kRules = {
    {Kind::kOpen, Target::kClip, {kNoTables}},
    {Kind::kStatus, Target::kClip, {kNoTables, kNotRemoved}},
    {Kind::kRead, Target::kClip, {kNoTables, "Bad frame size", "Unsupported file format"}},
    {Kind::kRemove, Target::kClip, {kNotRemoved}},
    {Kind::kOpen, Target::kPair, {kNotOpened}},
    {Kind::kSeek, Target::kPair, {kNotOpened}},
    // Failures while the index is completed are not logged.
    {Kind::kWrite, Target::kPair, {kNotOpened, "Error occured while writing frame", kNone}},
    {Kind::kStatus, Target::kOutput, {kNotOpened, "trying to create directory"}},
    {Kind::kMakeDirectory, Target::kOutput, {kNotOpened, "trying to create directory"}},
    {Kind::kStatus, Target::kTemporary, {"trying to create directory"}},
    {Kind::kMakeDirectory, Target::kTemporary, {"trying to create directory"}},
    {Kind::kOpen, Target::kState, {kNotLoaded, kNone}},  // only a failure at the start is logged
    {Kind::kRead, Target::kState, {kNotLoaded}},
    {Kind::kStatus, Target::kState, {kNotLoaded, kNone}},
    {Kind::kWrite, Target::kJournal, {kNoJournal}},
    {Kind::kFlush, Target::kJournal, {kNoJournal}},
    {Kind::kRandom, Target::kRandom, {"while handling a host message", "not found"}},
};

/// Without and with the safe profile.
class SystemCallsTest : public testing::TestWithParam<bool> {
  protected:
    static norvane::Options options() { return GetParam() ? norvane::safe_options() : norvane::Options{}; }

    /// With the safe profile only those that are treated differently, to save time.
    static std::vector<int> errors_to_try() {
        if (GetParam()) return {ENOSPC, EACCES};
        return {ENOSPC, EIO, EMFILE, EACCES};
    }

    static std::size_t descriptors() {
        std::size_t count = 0;
        for (const auto& entry : boost::filesystem::directory_iterator("/proc/self/fd"))
            count += entry.path().empty() ? 0U : 1U;
        return count;
    }

    /// Runs the retrieval with the fault and checks the result. False if the fault was not triggered.
    bool holds_with(const Fault& fault) {
        const std::size_t descriptors_before = descriptors();
        {
            Retrieval retrieval(options());
            if (!triggers(fault, retrieval)) return false;
            ++points[static_cast<std::size_t>(fault.kind)];
            errors = retrieval.errors();
            messages = retrieval.stable_text();
            check_files(fault, retrieval);
        }
        EXPECT_EQ(descriptors(), descriptors_before);
        return true;
    }

    bool triggers(const Fault& fault, Retrieval& retrieval) {
        const FaultInjection injection(fault);
        retrieval.start();
        retrieval.send_all();
        EXPECT_TRUE(retrieval.responds());
        retrieval.end();
        path = injection.path();
        return injection.triggered();
    }

    /// Expects that complete packets of each recording are indexed and contain the clip's frames. Keeps the
    /// state file for a later check.
    void check_files(const Fault& fault, Retrieval& retrieval) {
        for (const auto& [name, view] : retrieval.recordings()) {
            const std::string found = view.fault(true);
            // If spans cannot be written, the index ends early.
            EXPECT_TRUE(found.empty() || (found == "length of the index" && fault.kind == Kind::kWrite))
                << found;
            for (std::size_t i = 0; i < view.entries.size(); ++i) {
                const std::string payload = view.payload(i);
                EXPECT_TRUE(payload.empty() || payload == retrieval.frames_of(name)[i]) << name << " " << i;
            }
        }
        states.insert(read_file(Retrieval::kState));
        EXPECT_TRUE(!GetParam() || fault.from_then_on || keeps_saved_gap());
        EXPECT_TRUE(fault.from_then_on ||
                    !boost::filesystem::exists(std::string(Retrieval::kState) + ".new"));
    }

    /// True if a start, or an operator, would find the gap that was saved before the retrieval.
    static bool keeps_saved_gap() {
        const std::string state = Retrieval::kState;
        const std::string all =
            read_file(state) + read_file(state + ".damaged") + read_file("norvanepi_journal");
        return all.find("Time=\"500\"") != std::string::npos || all.find("Time='500'") != std::string::npos;
    }

    /// Expects the error lines that kRules lists for the failed call.
    void expect_lines_of(Kind kind) const {
        const Target target = target_of(path);
        const auto rule =
            std::ranges::find_if(kRules, [&](const Rule& r) { return r.kind == kind && r.target == target; });
        std::vector<std::string> allowed =
            rule == kRules.end() ? std::vector<std::string>{kNone} : rule->lines;
        if (target == Target::kJournal || target == Target::kNewJournal) allowed.emplace_back(kNoJournal);
        if (GetParam()) allowed.insert(allowed.end(), {kClipKept, kFileKept});
        const bool may_be_silent = std::ranges::count(allowed, kNone) > 0;
        EXPECT_TRUE(may_be_silent || !errors.empty()) << path;
        for (const std::string& line : errors) {
            EXPECT_TRUE(std::ranges::any_of(allowed,
                                            [&line](const std::string& text) {
                                                return !text.empty() && line.find(text) != std::string::npos;
                                            }))
                << line << " for " << path;
        }
    }

    void run_all(
        Kind kind, Effect effect, int error, bool from_then_on, const std::function<void()>& check = [] {}) {
        if (HasFailure()) return;
        for (std::uint64_t n = 1; holds_with({kind, n, effect, error, from_then_on}); ++n) {
            check();
            if (HasFailure())
                FAIL() << system_calls::kNames[static_cast<std::size_t>(kind)] << " " << n << " error "
                       << error << " " << path;
        }
    }

    std::string path;
    std::vector<std::string> errors;
    std::string messages;
    std::set<std::string> states;
    inline static std::array<std::size_t, system_calls::kKinds> points{};

    static void TearDownTestSuite() {
        std::cout << "fault points:";
        for (std::size_t kind = 0; kind < points.size(); ++kind)
            std::cout << " " << system_calls::kNames[kind] << " " << points[kind];
        std::cout << "\n";
    }
};

std::vector<Kind> all_kinds() {
    std::vector<Kind> kinds;
    for (std::size_t kind = 0; kind < system_calls::kModuleKinds; ++kind)
        kinds.push_back(static_cast<Kind>(kind));
    return kinds;
}

INSTANTIATE_TEST_SUITE_P(SafeProfile, SystemCallsTest, testing::Bool());

}  // namespace

TEST_P(SystemCallsTest, RetrievalWithoutFaultsSucceeds) {
    Retrieval retrieval(options());
    const FaultInjection injection({});
    retrieval.run();
    EXPECT_EQ(retrieval.errors(), std::vector<std::string>{});
    ASSERT_EQ(retrieval.recordings().size(), 2U);
    for (const auto& [name, view] : retrieval.recordings())
        EXPECT_EQ(view.payloads(), retrieval.frames_of(name));
    // Every kind of call occurs, so that the other tests cover it.
    for (const Kind kind : all_kinds())
        EXPECT_GT(injection.calls(kind), 0U) << system_calls::kNames[static_cast<std::size_t>(kind)];
}

TEST_P(SystemCallsTest, FailedCallIsLoggedAndAffectsOnlyItsObject) {
    for (const Kind kind : all_kinds()) {
        for (const int error : errors_to_try())
            run_all(kind, Effect::kFail, error, false, [&] { expect_lines_of(kind); });
    }
    for (const std::string& state : states) Retrieval::expect_whole(state);
    EXPECT_GT(states.size(), 2U);
}

TEST_P(SystemCallsTest, WorkerRespondsWhileCallsKeepFailing) {
    for (const Kind kind : all_kinds()) {
        for (const int error : errors_to_try()) run_all(kind, Effect::kFail, error, true);
    }
}

TEST_P(SystemCallsTest, InterruptedCallsAndShortReadsAreRepeated) {
    (void)holds_with({Kind::kOpen, 1, Effect::kShort});  // has no effect on this kind
    const std::string clean = messages;
    const auto expect_clean = [&] {
        EXPECT_EQ(messages, clean);
        EXPECT_EQ(states.size(), 1U);
    };
    for (const Kind kind : all_kinds()) run_all(kind, Effect::kFail, EINTR, false, expect_clean);
    for (const bool from_then_on : {false, true})
        run_all(Kind::kRead, Effect::kShort, 0, from_then_on, expect_clean);
}

TEST_P(SystemCallsTest, ShortWriteToARecordingIsAFailure) {
    run_all(Kind::kWrite, Effect::kShort, 0, false, [&] {
        if (target_of(path) == Target::kPair) return expect_lines_of(Kind::kWrite);
        EXPECT_TRUE(errors.empty());  // the rest of the state file is written
    });
    run_all(Kind::kWrite, Effect::kShort, 0, true);
}
