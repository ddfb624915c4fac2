// A whole retrieval with every call to the system failing in turn, and what the module makes of it.

#include "tests/support/system_calls.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <iostream>

#include "tests/faults/retrieval.h"

using system_calls::Fault;
using system_calls::Kind;
using system_calls::Schedule;
using system_calls::Way;

namespace {

/// What a call works on, by its path.
enum class On { kClip, kPair, kState, kRandom, kOutput, kTemporary };

On what(const std::string& path) {
    const auto has = [&path](const char* part) { return path.find(part) != std::string::npos; };
    if (path.empty()) return On::kRandom;
    if (has(".mp4")) return On::kClip;
    if (has(".ps")) return On::kPair;
    if (has("state")) return On::kState;
    return path.ends_with("/tmp/a") || path.ends_with("/tmp") ? On::kTemporary : On::kOutput;
}

constexpr const char* kNone = "";
constexpr const char* kNoTables = "No sample tables found";
constexpr const char* kNotRemoved = "Error deleting file";
constexpr const char* kNotOpened = "Error opening ps file";
constexpr const char* kNotLoaded = "error opening or parsing norvanepi.xml";

/// Which error lines one failing call may cause: at least one of them, unless kNone is among them.
struct Rule {
    Kind kind;
    On on;
    std::vector<std::string> lines;
};
const std::vector<Rule> kRules = {
    {Kind::kOpen, On::kClip, {kNoTables}},
    {Kind::kStatus, On::kClip, {kNoTables, kNotRemoved}},
    {Kind::kRead, On::kClip, {kNoTables, "Bad frame size", "Unsupported file format"}},
    {Kind::kRemove, On::kClip, {kNotRemoved}},
    {Kind::kOpen, On::kPair, {kNotOpened}},
    {Kind::kSeek, On::kPair, {kNotOpened}},
    // What fails while the index is completed is nobody's business any more.
    {Kind::kWrite, On::kPair, {kNotOpened, "Error occured while writing frame", kNone}},
    {Kind::kStatus, On::kOutput, {kNotOpened, "trying to create directory"}},
    {Kind::kMakeDirectory, On::kOutput, {kNotOpened, "trying to create directory"}},
    {Kind::kStatus, On::kTemporary, {"trying to create directory"}},
    {Kind::kMakeDirectory, On::kTemporary, {"trying to create directory"}},
    {Kind::kOpen, On::kState, {kNotLoaded, kNone}},  // behind the start the state is saved or is not
    {Kind::kRead, On::kState, {kNotLoaded}},
    {Kind::kStatus, On::kState, {kNotLoaded, kNone}},
    {Kind::kRandom, On::kRandom, {"while handling a host message", "not found"}},
};

class SystemCallsTest : public testing::Test {
  protected:
    static std::size_t descriptors() {
        std::size_t count = 0;
        for (const auto& entry : boost::filesystem::directory_iterator("/proc/self/fd"))
            count += entry.path().empty() ? 0U : 1U;
        return count;
    }

    /// Runs the retrieval with that fault and looks at everything that holds after each. False when no call
    /// was left to befall.
    bool holds_with(const Fault& fault) {
        const std::size_t descriptors_before = descriptors();
        {
            Retrieval retrieval;
            if (!runs_into(fault, retrieval)) return false;
            ++points[static_cast<std::size_t>(fault.kind)];
            errors = retrieval.errors();
            story = retrieval.story();
            look_at_files(fault, retrieval);
        }
        EXPECT_EQ(descriptors(), descriptors_before);
        return true;
    }

    bool runs_into(const Fault& fault, Retrieval& retrieval) {
        const Schedule schedule(fault);
        retrieval.start();
        retrieval.talk();
        EXPECT_TRUE(retrieval.is_alive());
        retrieval.end();
        path = schedule.path();
        return schedule.has_struck();
    }

    /// Of every recording that was begun, what stands whole is the clip's and findable; the state file is an
    /// old or a new one.
    void look_at_files(const Fault& fault, Retrieval& retrieval) {
        for (const auto& [name, view] : retrieval.recordings()) {
            const std::string found = view.fault(true);
            // Spans that cannot be written leave the index as far as it got.
            EXPECT_TRUE(found.empty() || (found == "length of the index" && fault.kind == Kind::kWrite))
                << found;
            for (std::size_t i = 0; i < view.entries.size(); ++i) {
                const std::string payload = view.payload(i);
                EXPECT_TRUE(payload.empty() || payload == frames_of(name)[i]) << name << " " << i;
            }
        }
        states.insert(read_file(Retrieval::kState));
        EXPECT_TRUE(fault.from_then_on ||
                    !boost::filesystem::exists(std::string(Retrieval::kState) + ".new"));
    }

    static std::vector<std::string> frames_of(const std::string& recording) {
        return {in_frame(recording), in_frame("two"), in_frame("three")};
    }

    /// The error lines fit the one call that failed.
    void expect_lines_of(Kind kind) const {
        const On on = what(path);
        const auto rule =
            std::ranges::find_if(kRules, [&](const Rule& r) { return r.kind == kind && r.on == on; });
        const std::vector<std::string> allowed =
            rule == kRules.end() ? std::vector<std::string>{kNone} : rule->lines;
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
        Kind kind, Way way, int error, bool from_then_on, const std::function<void()>& look = [] {}) {
        if (HasFailure()) return;
        for (std::uint64_t n = 1; holds_with({kind, n, way, error, from_then_on}); ++n) {
            look();
            if (HasFailure())
                FAIL() << system_calls::kNames[static_cast<std::size_t>(kind)] << " " << n << " error "
                       << error << " " << path;
        }
    }

    std::string path;
    std::vector<std::string> errors;
    std::string story;
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
    for (std::size_t kind = 0; kind < system_calls::kKinds; ++kind) kinds.push_back(static_cast<Kind>(kind));
    return kinds;
}

}  // namespace

TEST_F(SystemCallsTest, RetrievalAsItShouldBe) {
    Retrieval retrieval;
    const Schedule schedule({});
    retrieval.run();
    EXPECT_EQ(retrieval.errors(), std::vector<std::string>{});
    ASSERT_EQ(retrieval.recordings().size(), 2U);
    for (const auto& [name, view] : retrieval.recordings()) EXPECT_EQ(view.payloads(), frames_of(name));
    // All kinds of calls are made, so none of them is tested in vain.
    for (const Kind kind : all_kinds())
        EXPECT_GT(schedule.calls(kind), 0U) << system_calls::kNames[static_cast<std::size_t>(kind)];
}

TEST_F(SystemCallsTest, CallThatFailsOnceCostsWhatItWasFor) {
    for (const Kind kind : all_kinds()) {
        for (const int error : {ENOSPC, EIO, EMFILE, EACCES})
            run_all(kind, Way::kFails, error, false, [&] { expect_lines_of(kind); });
    }
    for (const std::string& state : states) Retrieval::expect_whole(state);
    EXPECT_GT(states.size(), 2U);
}

TEST_F(SystemCallsTest, CallsThatFailFromThenOnLeaveTheWorkerAlive) {
    for (const Kind kind : all_kinds()) {
        for (const int error : {ENOSPC, EIO, EMFILE, EACCES}) run_all(kind, Way::kFails, error, true);
    }
}

TEST_F(SystemCallsTest, InterruptedCallsAndShortReadsChangeNothing) {
    (void)holds_with({Kind::kOpen, 1, Way::kIsShort});  // which means nothing to it
    const std::string clean = story;
    const auto expect_clean = [&] {
        EXPECT_EQ(story, clean);
        EXPECT_EQ(states.size(), 1U);
    };
    for (const Kind kind : all_kinds()) run_all(kind, Way::kFails, EINTR, false, expect_clean);
    for (const bool from_then_on : {false, true})
        run_all(Kind::kRead, Way::kIsShort, 0, from_then_on, expect_clean);
}

TEST_F(SystemCallsTest, ShortWriteToARecordingCountsAsAFailedOne) {
    run_all(Kind::kWrite, Way::kIsShort, 0, false, [&] {
        if (what(path) == On::kPair) return expect_lines_of(Kind::kWrite);
        EXPECT_TRUE(errors.empty());  // the state file is written to its end
    });
    run_all(Kind::kWrite, Way::kIsShort, 0, true);
}
