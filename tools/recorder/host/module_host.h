#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>

#include "tools/host_kit/callback.h"
#include "tools/host_kit/lent_buffers.h"
#include "tools/host_kit/module.h"
#include "tools/recorder/host/checked_calls.h"
#include "tools/recorder/host/message_queue.h"
#include "tools/recorder/host/watchdog.h"

namespace recorder {

/// Runs the module: calls its entry points, provides the thread of its main loop and receives its calls.
/// Checks every byte of every record, but not the content of documents. Whatever the module does wrong is
/// thrown as ModuleFault.
class ModuleHost final : host_kit::CallbackReceiver {
  public:
    /// Loads and opens the module and starts its main loop. `last_number` is the number of the last text that
    /// an earlier host sent.
    ModuleHost(const std::filesystem::path& module, std::chrono::seconds patience, std::uint64_t last_number);
    ModuleHost(const ModuleHost&) = delete;
    ModuleHost& operator=(const ModuleHost&) = delete;
    /// Closes and unloads the module without checks if stop() was not called.
    ~ModuleHost();

    /// Closes and unloads the module, which must have returned every text by then. Its last messages can
    /// still be taken.
    void stop();

    /// Throws ModuleFault if the main loop returned although the module is not closed.
    void require_running();

    /// A text is lent before it is sent, because its number is needed first.
    [[nodiscard]] host_kit::LentBuffer lend(const std::string& text) { return lent_.lend(text); }
    enum class Route { kWrite, kIoctl };
    void send(const host_kit::LentBuffer& message, Route route);
    [[nodiscard]] std::size_t texts_held() const { return lent_.count(); }

    /// The callback's answer to each release from now on.
    struct Answer {
        std::int32_t returned = 0;
        std::uint32_t result = 0;
    };
    void answer_releases_with(Answer answer) { answer_ = answer; }

    [[nodiscard]] const host_kit::Module& module() const { return module_; }

    [[nodiscard]] std::optional<ReceivedMessage> take(std::chrono::milliseconds timeout) {
        return received_.take(timeout);
    }

  private:
    std::int32_t receive(const host_kit::HostCall& call) override;
    [[nodiscard]] std::string fault_of(const host_kit::HostCall& call, ReceivedMessage& message);

    void run_main_loop();
    /// Closes and unloads.
    void close();
    template <typename Bytes, typename Call>
    void check(const char* name, const Bytes& expected, Call call);

    CheckedLibrary library_;
    host_kit::Module module_;
    Watchdog watchdog_;
    host_kit::LentBuffers lent_;
    MessageQueue received_;
    std::atomic<std::thread::id> calling_thread_;  // inside Load, Open, Close or Unload
    std::atomic<std::thread::id> loop_thread_;
    std::atomic<Answer> answer_{};
    std::thread main_loop_;
    std::atomic<bool> closing_ = false;
    std::atomic<bool> closed_ = false;
    std::atomic<int> callbacks_ = 0;  // running now
    std::atomic<bool> main_loop_ended_ = false;
    std::string main_loop_fault_;  // read after the main loop ended
    bool loaded_ = false;
};

/// What Load must write.
[[nodiscard]] host_records::ModuleInfo::Bytes expected_module_info();

/// What is wrong with the return of a text; empty if nothing is.
[[nodiscard]] std::string fault_of_return(const host_kit::LentBuffers::Return& text);

}  // namespace recorder
