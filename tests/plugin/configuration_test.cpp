#include "plugin/configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "plugin/module_context.h"
#include "plugin/send_to_host.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_time.h"
#include "tests/support/temp_directory.h"

namespace {

using norvane::Options;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

Options options_of(const std::string& text) {
    return parse_configuration("f", text).options;
}

std::vector<std::string> faults_of(const std::string& text) {
    return parse_configuration("f", text).faults;
}

/// What the host receives before the engine's own first line.
std::string start_up_lines() {
    FakeHost host;
    set_host_callback(FakeHost::callback());
    InstantSleeper sleeper;
    FakeClock clock;
    ModuleContext context(platform::System{platform::system_files(), sleeper, clock});
    context.open();
    context.close();
    set_host_callback(nullptr);
    const std::string lines = host.lines();
    return lines.substr(0, lines.rfind("64 ", lines.find("reading saved state")));
}

}  // namespace

TEST(ConfigurationTest, KeysOverrideTheProfileInAnyOrder) {
    EXPECT_EQ(options_of(""), Options{});
    EXPECT_EQ(options_of("profile = default\n"), Options{});
    EXPECT_EQ(options_of("; comment\n\nprofile=safe\r\n"), norvane::safe_options());

    Options expected = norvane::safe_options();
    expected.journal = false;
    expected.retries = 7;
    EXPECT_EQ(options_of("journal = off\nretries=1\nprofile = safe\nretries = 7"), expected);

    Options one;
    one.sample_times = true;
    EXPECT_EQ(options_of("sample-times = on"), one);
}

TEST(ConfigurationTest, FaultNamesFileLineAndKeyAndHidesNoOtherLine) {
    EXPECT_THAT(faults_of("profile = fast\n\njournal = yes\nretries = -1\nretry-delay = 9x\nno-such = 1\n"
                          "[part]\nno equals sign\n\x01\xFF = 1"),
                ElementsAre(HasSubstr("line 7, '[part]': there are no sections."),
                            HasSubstr("line 8, 'no equals sign': '=' character not found"),
                            HasSubstr("line 1, 'profile': must be default or safe."),
                            HasSubstr("line 3, 'journal': must be on or off."),
                            HasSubstr("line 4, 'retries': must be a number from 0 to 1000000."),
                            HasSubstr("line 5, 'retry-delay': must be a number"),
                            HasSubstr("'f', line 6, 'no-such': unknown key."),
                            HasSubstr("line 9, '\?\?': unknown key.")));
    EXPECT_TRUE(options_of("journal = yes\nchannels = on\n[part]\nattempts = on").channels);
    EXPECT_TRUE(options_of("journal = yes\nchannels = on\n[part]\nattempts = on").attempts);
}

TEST(ConfigurationTest, SummaryListsWhatDiffersFromTheDefault) {
    EXPECT_EQ(parse_configuration("f", "").summary, "NorVane - options of 'f': all defaults.");
    EXPECT_EQ(parse_configuration("f", "journal=on\nrequest-timeout=5\nretries=0").summary,
              "NorVane - options of 'f': journal on, request-timeout 5.");
    EXPECT_EQ(
        parse_configuration("f", "profile=safe").summary,
        "NorVane - options of 'f': journal on, channels on, request-timeout 600, attempts on, retries 5, "
        "parameter-sets on, sample-times on, all-clips on, keep-failed-clips on, keep-recordings on, "
        "well-formed-log on, directory-separator on.");
}

TEST(ConfigurationTest, HostIsToldAtTheStartAndOnlyIfThereIsAFile) {
    const WorkingDirectory directory;
    EXPECT_EQ(start_up_lines(), "");
    write_file("norvanepi.conf", "channels = on\nchanels = on\n");
    const std::string lines = start_up_lines();
    EXPECT_THAT(lines,
                HasSubstr("level=\"75\">NorVane - 'norvanepi.conf', line 2, 'chanels': unknown key.<"));
    EXPECT_THAT(lines, HasSubstr("level=\"25\">NorVane - options of 'norvanepi.conf': channels on.<"));

    write_file("norvanepi.conf", std::string(70'000, '#'));
    EXPECT_THAT(start_up_lines(), HasSubstr("'norvanepi.conf' is larger than 64 KiB; no option is on.<"));
    boost::filesystem::remove("norvanepi.conf");
    boost::filesystem::create_directory("norvanepi.conf");
    EXPECT_THAT(start_up_lines(), HasSubstr("'norvanepi.conf' cannot be read; no option is on.<"));
}
