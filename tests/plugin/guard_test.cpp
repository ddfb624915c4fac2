#include <gtest/gtest.h>

#include <stdexcept>

#include "plugin/entry_guard.h"
#include "plugin/send_to_host.h"
#include "tests/support/fake_host.h"

namespace {

/// The messages that the host receives while the body runs in the barrier, and a "!" per call of set_failed.
template <typename Body>
std::string effects_of(Body body) {
    FakeHost host;
    set_host_callback(FakeHost::callback());
    std::string failures;
    EXPECT_EQ(guard("Open", body, [&failures] { failures += "!"; }), 0);
    set_host_callback(nullptr);
    return host.lines() + failures;
}

std::string failed_with(const std::string& what) {
    return "64 <?xml version=\"1.0\" encoding=\"UTF-8\"?><log_msg level=\"75\">NorVane - Error '" + what +
           "' in Open.</log_msg>\n!";
}

}  // namespace

TEST(EntryGuardTest, ExceptionsAreReportedAndStopped) {
    EXPECT_EQ(effects_of([] { throw std::runtime_error("no luck"); }), failed_with("no luck"));
    EXPECT_EQ(effects_of([] { throw 17; }), failed_with("unknown"));
    EXPECT_EQ(effects_of([] {}), "");
}
