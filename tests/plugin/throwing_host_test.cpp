// A host whose callback throws, at each of its calls in turn. No exception leaves an entry point.

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/fake_host.h"
#include "tests/support/host_messages.h"
#include "tests/support/temp_directory.h"

namespace {

enum class Thrown { kException, kNumber };

/// One run of the built module, from Load to Unload. The host throws at its n-th call, or from then on.
class ThrowingHost {
  public:
    ThrowingHost(int n, bool from_then_on, Thrown what) {
        host_.on_call = [=, this](std::uint32_t, const std::string&) {
            ++calls_;
            if (calls_ != n && !(from_then_on && calls_ > n)) return;
            ++thrown_;
            if (what == Thrown::kNumber) throw 17;
            throw std::runtime_error("host trouble");
        };
    }

    /// Calls all entry points in a host's order. LoadedModule checks that each returns 0.
    void run() {
        module_.load(FakeHost::callback());
        const bool opened = module_.open()[8] == 0;
        EXPECT_EQ(opened, thrown_ == 0);
        if (!opened) {  // a failed Open leaves no worker, so the next one starts again
            const int before = thrown_;
            const bool opened_now = module_.open()[8] == 0;
            EXPECT_EQ(opened_now, thrown_ == before);
        }
        for (const std::string& text :
             {about_channel(false, 1'010), about_channel(true, 1'010), std::string("not XML")}) {
            const char* const buffer = host_.lend(text);
            if (module_.write(buffer, static_cast<std::uint32_t>(text.size())).status != 0)
                host_.take_back(buffer);
        }
        module_.read();
        module_.seek();
        const bool works = module_.ioctl(2, nullptr, 0)[12] == 0;
        if (works) module_.start_main_loop();
        EXPECT_TRUE(host_.wait_for_releases());
        EXPECT_EQ(module_.close()[8], 0);
        if (works) module_.join_main_loop();
        EXPECT_EQ(module_.unload()[8], 0);
        EXPECT_EQ(host_.wrong_releases(), works ? 1 : 0);  // the null text
        EXPECT_NE(read_file("norvanepi_state.xml").find("<Device Number=\"3\""),
                  works ? std::string::npos : 0);
    }

    [[nodiscard]] bool has_thrown() const { return thrown_ > 0; }

  private:
    WorkingDirectory directory_;
    int calls_ = 0;
    int thrown_ = 0;
    FakeHost host_;
    LoadedModule module_;
};

}  // namespace

TEST(ThrowingHostTest, NoExceptionLeavesAnEntryPoint) {
    for (const Thrown what : {Thrown::kException, Thrown::kNumber}) {
        for (const bool from_then_on : {false, true}) {
            for (int n = 1; !testing::Test::HasFailure(); ++n) {
                SCOPED_TRACE((from_then_on ? "from call " : "call ") + std::to_string(n));
                ThrowingHost host(n, from_then_on, what);
                host.run();
                if (!host.has_thrown()) break;
            }
        }
    }
}
