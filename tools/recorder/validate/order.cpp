// Unusual orders of the calls, calls from inside the callback, and calls from several threads.

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include <fmt/format.h>

#include "tools/recorder/host/module_fault.h"
#include "tools/recorder/validate/cases.h"
#include "tools/recorder/validate/plain_module.h"

namespace recorder::validate {
namespace {

using Callback = PlainModule::Callback;
using Received = PlainModule::Received;

constexpr std::chrono::milliseconds kRetryInterval{5};
constexpr std::chrono::milliseconds kLongAnswer{400};

bool is_release(const Received& received) {
    return received.message_class == NORVANEPI_CLASS_RELEASE;
}

/// The documents in the order in which they came.
std::vector<std::string> documents(PlainModule& module) {
    std::vector<std::string> texts;
    for (const Received& each : module.received()) {
        if (!is_release(each)) texts.push_back(each.text);
    }
    return texts;
}

void require_state_file(CaseFixture& fixture, const char* call) {
    require(text_of_file(fixture.directory().state_file()).has_value(),
            fmt::format("{} wrote no state file", call));
}

/// A message whose return takes long, so that the main loop is busy inside the callback meanwhile.
class BusyMainLoop {
  public:
    explicit BusyMainLoop(PlainModule& module) : module_(module) {
        module.on_received = [this](const Received& received) {
            if (received.text == kBusy) {
                entered_.set_value();
                std::this_thread::sleep_for(kLongAnswer);
            }
            return 0;
        };
    }

    /// Returns once the main loop is inside the callback.
    void begin() {
        module_.write(kBusy);
        entered_.get_future().wait();
    }

  private:
    static constexpr const char* kBusy = "<Pavo><Busy/></Pavo>";

    PlainModule& module_;
    std::promise<void> entered_;
};

constexpr Case kOrderCases[] = {
    {kFirstCase, "the library is loaded and unloaded several times, and nothing remains",
     [](CaseFixture& fixture) {
         for (int i = 0; i < 3; ++i) (void)PlainModule(fixture);
     }},
    {"order.before-load", "calls before Load have no effect; messages are refused",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         module.require_refusing();
         module.require_no_main_loop();
         module.close();
         module.unload();
     }},
    {"order.before-open", "messages are refused between Load and Open",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         module.load(Callback::kFirst);
         module.require_refusing();
         module.unload();
     }},
    {"order.main-loop-first", "a main loop may run before Open",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         module.load(Callback::kFirst);
         module.start_main_loop();
         module.open();
         module.write();
         module.stop();
     }},
    {"order.after-close", "a main loop after Close returns at once; messages are refused",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         module.start();
         module.close();
         module.join_main_loop();
         module.require_refusing();
         module.require_no_main_loop();
         module.close();
         module.unload();
         module.require_refusing();
     }},
    {"order.without-main-loop", "Close without a main loop returns all texts and saves the state",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         module.load(Callback::kFirst);
         module.open();
         for (int i = 0; i < 10; ++i) module.write();
         module.close();
         module.wait_for_texts();
         require_state_file(fixture, "Close");
         module.unload();
     }},
    {"order.without-callback", "without a callback the module sends nothing, and works",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         module.start(Callback::kNone);
         module.stop();
         require_state_file(fixture, "Close");
     }},
    {"order.unload-open", "Unload closes an open module",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         module.load(Callback::kFirst);
         module.open();
         for (int i = 0; i < 10; ++i) module.write();
         module.unload();
         require_state_file(fixture, "Unload");
         module.require_refusing();
     }},
    {"order.open-twice", "Open has no effect if the module is open",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         module.start();
         const std::size_t sent = module.documents_of(Callback::kFirst);
         module.open();
         require(module.documents_of(Callback::kFirst) == sent, "a second Open sent documents");
         module.write();
         module.wait_for_texts();
         module.stop();
     }},
    {"order.second-main-loop", "a second main loop returns at once",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         module.start();
         module.write();
         module.wait_for_texts();
         module.require_no_main_loop();
         module.write();
         module.wait_for_texts();
         module.stop();
     }},
    {"order.load-again", "Load replaces a module without a main loop, and its callback",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         module.load(Callback::kFirst);
         module.open();
         module.write();
         const std::size_t sent = module.documents_of(Callback::kFirst);
         module.start(Callback::kSecond);
         module.write();
         module.wait_for_texts();
         module.stop();
         require(module.documents_of(Callback::kFirst) == sent,
                 "after a second Load, a document came to the first callback");
         require(module.documents_of(Callback::kSecond) > sent,
                 "after a second Load, the new callback received too few documents");
     }},
    {"order.load-while-running", "Load replaces only the callback while a main loop is running",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         module.start(Callback::kFirst);
         module.write();
         module.wait_for_texts();
         const std::size_t sent = module.received().size();
         module.load(Callback::kSecond);
         module.write();
         module.wait_for_texts();
         module.stop();
         const auto received = module.received();
         require(received.size() > sent &&
                     std::all_of(received.begin() + static_cast<std::ptrdiff_t>(sent), received.end(),
                                 [](const Received& each) { return each.callback == Callback::kSecond; }),
                 "after a second Load, the first callback was called");
     }},
    {"order.again", "the module is opened and closed several times in one process",
     [](CaseFixture& fixture) {
         for (int i = 0; i < 2; ++i) {
             fixture.open();
             fixture.simulator().report(fixture.camera(), false, kLost);
             fixture.simulator().close();
         }
         PlainModule module(fixture);
         for (const Callback callback : {Callback::kFirst, Callback::kSecond, Callback::kFirst}) {
             module.start(callback);
             module.write();
             module.wait_for_texts();
             module.stop();
         }
     }},
    {"callback.calls-inside", "Write and IOCTL are accepted inside the callback, from the registration on",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         std::atomic<int> inside = 0;
         module.on_received = [&](const Received& received) {
             if (received.text.find("<Modules>") != std::string::npos || received.text == "<again/>") {
                 if (++inside > 5) return 0;
                 module.write("<again/>");
                 module.write_by_ioctl();
             }
             return 0;
         };
         module.start();
         for (int i = 0; i < 1000 && inside <= 5; ++i) std::this_thread::sleep_for(kRetryInterval);
         module.wait_for_texts();
         require(inside > 5, "the registration or the return of a text did not come");
         module.stop();
     }},
    {"callback.close-inside", "Close inside the callback returns at once; the main loop then ends",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         std::atomic<bool> closed = false;
         module.on_received = [&](const Received& received) {
             if (received.text == "<end/>" && !closed.exchange(true)) module.close();
             return 0;
         };
         module.start();
         module.write("<end/>");
         module.join_main_loop();
         require_state_file(fixture, "the main loop");
         module.require_refusing();
         module.unload();
     }},
    {"callback.result", "what the callback returns for a document is ignored",
     [](CaseFixture& fixture) {
         std::vector<std::string> texts;
         for (const std::int32_t answer : {0, 7}) {
             PlainModule module(fixture);
             module.on_received = [&](const Received& received) { return is_release(received) ? 0 : answer; };
             module.start();
             module.write();
             module.wait_for_texts();
             module.stop();
             if (answer == 0) {
                 texts = documents(module);
             } else {
                 require(documents(module).size() == texts.size(),
                         "a failure of the callback at a document changed what the module sent");
             }
             std::filesystem::remove(fixture.directory().state_file());
         }
     }},
    {"callback.one-thread", "Close waits for the main loop, and no two threads are inside the callback",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         BusyMainLoop busy(module);
         module.start();
         busy.begin();
         for (int i = 0; i < 20; ++i) module.write();
         module.close();
         module.join_main_loop();
         module.unload();
     }},
    {"threads.write-at-once", "Write and IOCTL return while the main loop is busy",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         BusyMainLoop busy(module);
         module.start();
         busy.begin();
         const auto begin = std::chrono::steady_clock::now();
         module.write();
         module.write_by_ioctl();
         require(std::chrono::steady_clock::now() - begin < kLongAnswer,
                 "Write waited for the main loop, which was inside the callback");
         module.wait_for_texts();
         module.stop();
     }},
    {"threads.writers", "eight threads call Write and IOCTL at the same time",
     [](CaseFixture& fixture) {
         PlainModule module(fixture);
         module.start();
         std::vector<std::future<void>> writers;
         writers.reserve(8);
         for (int i = 0; i < 8; ++i) {
             writers.push_back(std::async(std::launch::async, [&] {
                 for (int k = 0; k < 50; ++k) {
                     module.write();
                     module.write_by_ioctl();
                 }
             }));
         }
         for (auto& writer : writers) writer.get();
         module.wait_for_texts();
         module.stop();
     }},
};

}  // namespace

Cases order_cases() {
    return kOrderCases;
}

}  // namespace recorder::validate
