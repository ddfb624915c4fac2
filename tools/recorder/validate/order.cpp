// The order of the calls: the usual one, and what an unusual one leads to.

#include <array>
#include <thread>

#include "tools/recorder/validate/cases.h"
#include "tools/recorder/validate/raw_call.h"

namespace recorder::validate {
namespace {

namespace hr = host_records;

/// Without a callback: what is said is nobody's business here.
hr::ModuleInfo::Bytes load(const ModuleLibrary& module) {
    return call<hr::ModuleInfo>(module.load);
}

void run_main_loop(const ModuleLibrary& module) {
    const auto request = with<hr::IoctlRequest, hr::IoctlRequest::Code>(hr::kRunMainLoop);
    require_record("IOCTL code 1", call<hr::IoctlResult>(module.ioctl, request.data()),
                   with<hr::IoctlResult, hr::IoctlResult::Status>(hr::kAccepted));
}

void require_closed(ModuleLibrary::EntryPoint* entry_point, const std::string& name) {
    require_record(name, call<hr::CloseResult>(entry_point),
                   with<hr::CloseResult, hr::CloseResult::Status>(hr::kAccepted));
}

void require_refusing(const ModuleLibrary& module) {
    require_record("Write", call<hr::WriteResult>(module.write),
                   with<hr::WriteResult, hr::WriteResult::Status>(hr::kRefused));
}

void before_load(Trial& trial) {
    const ModuleLibrary module(trial.module());
    require_refusing(module);
    run_main_loop(module);
    require_closed(module.close, "Close");
    require_closed(module.unload, "Unload");
}

void before_open(Trial& trial) {
    const ModuleLibrary module(trial.module());
    load(module);
    require_refusing(module);
    require_closed(module.unload, "Unload");
}

void main_loop_first(Trial& trial) {
    const ModuleLibrary module(trial.module());
    load(module);
    std::thread main_loop([&] { run_main_loop(module); });
    (void)call<hr::OpenResult>(module.open);
    require_closed(module.close, "Close");
    main_loop.join();
    require_closed(module.unload, "Unload");
}

void after_close(Trial& trial) {
    const ModuleLibrary module(trial.module());
    load(module);
    (void)call<hr::OpenResult>(module.open);
    std::thread main_loop([&] { run_main_loop(module); });
    require_closed(module.close, "Close");
    main_loop.join();
    require_refusing(module);
    run_main_loop(module);
    require_closed(module.unload, "Unload");
}

void without_main_loop(Trial& trial) {
    const ModuleLibrary module(trial.module());
    load(module);
    (void)call<hr::OpenResult>(module.open);
    require_closed(module.close, "Close");
    require_closed(module.unload, "Unload");
    require(text_of_file(trial.directory().state_file()).has_value(), "Close left no state file");
}

void again(Trial& trial) {
    for (int i = 0; i < 2; ++i) {
        trial.open();
        trial.simulator().report(trial.camera(), false, kLost);
        trial.simulator().close();
    }
}

constexpr std::array kCases = {
    Case{"order.before-load", "nothing happens before Load; messages are refused", before_load},
    Case{"order.before-open", "messages are refused between Load and Open", before_open},
    Case{"order.main-loop-first", "a main loop may run before Open", main_loop_first},
    Case{"order.after-close", "a main loop ends at once after Close; messages are refused", after_close},
    Case{"order.without-main-loop", "Close without a main loop returns and saves", without_main_loop},
    Case{"order.again", "the module is loaded and closed a second time in one process", again},
};

}  // namespace

Cases order_cases() {
    return kCases;
}

}  // namespace recorder::validate
