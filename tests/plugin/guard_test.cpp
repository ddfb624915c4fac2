#include <gtest/gtest.h>

#include <stdexcept>

#include "plugin/entry_guard.h"
#include "plugin/send_to_host.h"
#include "tests/support/fake_host.h"

namespace {

/// Runs a body through the barrier: how often it was told to fail, and what the host was told.
struct Caught {
    int failures = 0;
    std::string lines;
};

template <typename Body>
Caught run_guarded(Body body) {
    FakeHost host;
    set_host_callback(FakeHost::callback());
    Caught caught;
    EXPECT_EQ(guard("Open", body, [&caught] { ++caught.failures; }), 0);
    caught.lines = host.lines();
    set_host_callback(nullptr);
    return caught;
}

std::string error_line(const std::string& what) {
    return "64 <?xml version=\"1.0\" encoding=\"UTF-8\"?><log_msg level=\"75\">NorVane - Error '" + what +
           "' in Open.</log_msg>\n";
}

}  // namespace

TEST(EntryGuard, NothingThrownGetsPastIt) {
    const Caught exception = run_guarded([] { throw std::runtime_error("no luck"); });
    EXPECT_EQ(exception.failures, 1);
    EXPECT_EQ(exception.lines, error_line("no luck"));

    const Caught number = run_guarded([] { throw 17; });
    EXPECT_EQ(number.failures, 1);
    EXPECT_EQ(number.lines, error_line("unknown"));

    const Caught nothing = run_guarded([] {});
    EXPECT_EQ(nothing.failures, 0);
    EXPECT_EQ(nothing.lines, "");
}

TEST(EntryGuard, HostThatThrowsWhileItIsToldIsNoWayOut) {
    FakeHost host;
    host.on_call = [](std::uint32_t, const std::string&) { throw 17; };
    set_host_callback(FakeHost::callback());
    int failures = 0;
    EXPECT_EQ(guard(
                  "Open", [] { throw 18; }, [&failures] { ++failures; }),
              0);
    EXPECT_EQ(failures, 1);
    EXPECT_EQ(host.messages().size(), 1U);
    set_host_callback(nullptr);
}
