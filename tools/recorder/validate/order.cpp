// Unusual orders of the calls.

#include <array>
#include <thread>

#include "tools/host_kit/module_library.h"
#include "tools/recorder/host/record_check.h"
#include "tools/recorder/validate/cases.h"

namespace recorder::validate {
namespace {

namespace hr = host_records;

/// The module without a callback, so that it sends nothing.
class SilentModule : host_kit::ModuleLibrary, public host_kit::Module {
  public:
    explicit SilentModule(const CaseFixture& fixture)
        : ModuleLibrary(fixture.module()), Module(ModuleLibrary::entry_points(), throw_module_fault) {}

    void load() const { Module::load(nullptr); }
    void run_main_loop() const {
        require_record("IOCTL code 1", ioctl(hr::kRunMainLoop),
                       host_kit::with<hr::IoctlResult, hr::IoctlResult::Status>(hr::kAccepted));
    }
    void require_refusing() const {
        require_record("Write", write(nullptr, 0),
                       host_kit::with<hr::WriteResult, hr::WriteResult::Status>(hr::kRefused));
    }
    void require_close() const { require_record("Close", close(), closed()); }
    void require_unload() const { require_record("Unload", unload(), closed()); }

  private:
    static hr::CloseResult::Bytes closed() {
        return host_kit::with<hr::CloseResult, hr::CloseResult::Status>(hr::kAccepted);
    }
};

void before_load(CaseFixture& fixture) {
    const SilentModule module(fixture);
    module.require_refusing();
    module.run_main_loop();
    module.require_close();
    module.require_unload();
}

void before_open(CaseFixture& fixture) {
    const SilentModule module(fixture);
    module.load();
    module.require_refusing();
    module.require_unload();
}

void main_loop_first(CaseFixture& fixture) {
    const SilentModule module(fixture);
    module.load();
    std::thread main_loop([&] { module.run_main_loop(); });
    module.open();
    module.require_close();
    main_loop.join();
    module.require_unload();
}

void after_close(CaseFixture& fixture) {
    const SilentModule module(fixture);
    module.load();
    module.open();
    std::thread main_loop([&] { module.run_main_loop(); });
    module.require_close();
    main_loop.join();
    module.require_refusing();
    module.run_main_loop();
    module.require_unload();
}

void without_main_loop(CaseFixture& fixture) {
    const SilentModule module(fixture);
    module.load();
    module.open();
    module.require_close();
    module.require_unload();
    require(text_of_file(fixture.directory().state_file()).has_value(), "Close wrote no state file");
}

void again(CaseFixture& fixture) {
    for (int i = 0; i < 2; ++i) {
        fixture.open();
        fixture.simulator().report(fixture.camera(), false, kLost);
        fixture.simulator().close();
    }
}

constexpr std::array kCases = {
    Case{"order.before-load", "calls before Load have no effect; messages are refused", before_load},
    Case{"order.before-open", "messages are refused between Load and Open", before_open},
    Case{"order.main-loop-first", "a main loop may run before Open", main_loop_first},
    Case{"order.after-close", "a main loop after Close returns at once; messages are refused", after_close},
    Case{"order.without-main-loop", "Close without a main loop returns and saves the state",
         without_main_loop},
    Case{"order.again", "the module is loaded and closed twice in one process", again},
};

}  // namespace

Cases order_cases() {
    return kCases;
}

}  // namespace recorder::validate
