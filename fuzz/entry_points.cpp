// A host calls the eight entry points at random: in any order, from inside the callback and in the middle of
// the main loop. Its callback fails and throws. Everything runs on one thread: when the module would sleep,
// the host continues. The module must return every accepted buffer exactly once.

#include <tinyxml2.h>

#include <boost/uuid/string_generator.hpp>
#include <stdexcept>
#include <utility>

#include "fuzz/host_messages.h"
#include "fuzz/require.h"
#include "platform/system.h"
#include "tests/support/clips.h"
#include "tests/support/fake_time.h"
#include "tests/support/memory_files.h"
#include "tools/host_kit/callback.h"
#include "tools/host_kit/lent_buffers.h"
#include "tools/host_kit/module.h"

namespace hr = host_records;

extern "C" {
host_kit::EntryPoint Load, Unload, Open, Close, Read, Write, Seek, IOCTL;
}

namespace {

class Host;
Host* the_host = nullptr;

class Host final : public platform::Sleeper, host_kit::CallbackReceiver {
  public:
    explicit Host(std::span<const std::uint8_t> bytes) : in_(bytes) {
        the_host = this;
        files.output.data_room = 65'536;
        if (bytes.size() % 2 == 1) files.put("norvanepi.conf", "profile = safe\n");
    }

    void run() {
        while (!in_.empty()) act();
        misbehaves_ = false;
        close(true);
    }

    void sleep(std::chrono::milliseconds) override { resume(); }
    bool wait_for(std::condition_variable&, std::unique_lock<std::mutex>& lock, std::chrono::milliseconds,
                  const std::function<bool()>& ready) override {
        if (ready()) return true;
        lock.unlock();
        resume();
        lock.lock();
        return ready();
    }

    MemoryFiles files;
    FakeClock clock;

  private:
    static constexpr int kMaxDepth = 6;  // nested calls

    std::int32_t receive(const host_kit::HostCall& call) override {
        if (call.is_release()) {
            require(returns(call.data()), "a buffer was released that was not held");
        } else {
            check(call.document());
        }
        return misbehaves_ ? misbehave(call) : 0;
    }

    bool returns(const char* text) {
        return lent_.take_back(text).outcome == host_kit::LentBuffers::Outcome::kReturned;
    }

    void check(std::string_view text) {
        tinyxml2::XMLDocument document;
        require(text.ends_with('\0') && document.Parse(text.data()) == tinyxml2::XML_SUCCESS,
                "a bad document");
        const std::size_t at = text.find("GUID=\"");
        if (at == std::string_view::npos) return;
        guids_.push_back(boost::uuids::string_generator()(std::string(text.substr(at + 6, 36))));
    }

    std::int32_t misbehave(const host_kit::HostCall& call) {
        const std::size_t how = in_.below(16);
        if (how == 1) call.set_result(5);
        if (how == 2) throw std::runtime_error("thrown by the host");
        if (how == 3) throw 7;
        if (how == 4 || how == 5) act();
        return how == 1 ? -1 : 0;
    }

    /// What other threads do while the module sleeps. At the end of the input the host closes, which ends
    /// every loop.
    void resume() {
        if (in_.empty() || depth_ >= kMaxDepth) {
            module_.close();
        } else {
            act();
        }
    }

    void act() {
        if (depth_ >= kMaxDepth) return;
        ++depth_;
        constexpr void (Host::*kActs[])() = {
            &Host::load,          &Host::open,  &Host::close, &Host::call_the_rest, &Host::change_environment,
            &Host::run_main_loop, &Host::write, &Host::write, &Host::write};
        (this->*in_.pick(kActs))();
        --depth_;
    }

    void load() {
        const bool had_callback = std::exchange(has_callback_, !in_.chance(8));
        if (!had_callback || !has_callback_) excused_ = last_number_;
        const auto info = module_.load(has_callback_ ? callback() : nullptr);
        require(hr::ModuleInfo::Identifier::get(info) == hr::kModuleId, "the module has its identifier");
    }

    void open() { module_.open(); }
    void run_main_loop() { module_.ioctl(hr::kRunMainLoop); }

    void close() { close(in_.chance(128)); }

    /// Later texts may still be lent: a host may open the module again from inside its callback.
    void close(bool unload) {
        const std::uint64_t before = last_number_;
        (void)(unload ? module_.unload() : module_.close());
        if (depth_ > 1 || !has_callback_) return;  // the loop may be inside a pass
        for (const std::uint64_t number : lent_.numbers())
            require(number <= excused_ || number > before, "a buffer was not returned");
    }

    void call_the_rest() {
        module_.read();
        module_.seek();
        module_.ioctl(in_.byte() | 4U);
        for (host_kit::EntryPoint* const entry_point : {Open, Read, Seek, IOCTL, Close, Unload}) {
            if (in_.chance(8))
                require(entry_point(nullptr, nullptr) == 0, "null records are treated as zeros");
        }
    }

    void change_environment() {
        const std::size_t what = in_.below(8);
        const std::uint8_t how = in_.byte();
        if (what == 0) misbehaves_ = !misbehaves_;
        if (what == 1) files.directory_error.assign(how % 3, boost::system::generic_category());
        if (what == 2) files.input_throws_at = how < 128 ? how : kNever;
        if (what == 3) files.failing_removals = how % 3;
        if (what == 4) files.put("norvanepi_state.xml", in_.text());
        if (what >= 5) files.put("tmp/a.mp4", make_clip(ClipTrack{.samples = {nal("first"), nal("second")}}));
    }

    void write() {
        const auto lent = lent_.lend(messages_.next());
        last_number_ = lent.number;
        const std::uint8_t how = in_.byte();
        const auto length = how == 1 ? 0x80000000U : lent.length;
        const bool accepted = send(lent.text, length, how);
        require(accepted || returns(lent.text), "a refused buffer was released");
    }

    bool send(const char* text, std::uint32_t length, std::uint8_t how) {
        if (how >= 224)
            return hr::IoctlResult::Count::get(module_.ioctl(hr::kQueueMessage, text, length)) == 1;
        const auto result =
            module_.write(text, length, static_cast<std::uint8_t>(how == 2), how == 3 ? hr::kModuleId : 1);
        return hr::WriteResult::Count::get(result) == 1;
    }

    ByteSource in_;
    host_kit::Module module_{{Load, Unload, Open, Close, Read, Write, Seek, IOCTL},
                             [](const char* fault) { fail(fault); }};
    host_kit::LentBuffers lent_;
    std::uint64_t last_number_ = 0;
    std::uint64_t excused_ =
        0;  // texts up to this number were lent when there was no callback to release them
    std::vector<norvane::Guid> guids_;
    HostMessages messages_{in_, guids_};
    int depth_ = 0;
    bool has_callback_ = false;
    bool misbehaves_ = false;
};

}  // namespace

// The module obtains its system through these functions. This program defines them instead of platform/.
namespace platform {

FileSystem& system_files() {
    return the_host->files;
}
Sleeper& system_sleeper() {
    return *the_host;
}
const Clock& system_clock() {
    return the_host->clock;
}

}  // namespace platform

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Host({data, size}).run();
    return 0;
}
