#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "plugin/interfaces/host_records.h"
#include "tools/host_kit/lent_buffers.h"
#include "tools/host_kit/module_library.h"
#include "tools/recorder/host/mailbox.h"
#include "tools/recorder/host/watchdog.h"

namespace recorder {

/// The host's side of the boundary: loads the plug-in, fills and reads the records of its entry points byte
/// by byte, lends it a thread and takes its calls. Knows nothing of what the messages say. One at a time in a
/// process, since the callback carries no pointer of ours. Everything that the plug-in does wrong is thrown
/// as ModuleFault.
class ModuleHost {
  public:
    /// Loads and opens the plug-in and starts its main loop. Texts are numbered on behind `texts_before`.
    ModuleHost(const std::filesystem::path& module, std::chrono::seconds patience,
               std::uint64_t texts_before);
    ModuleHost(const ModuleHost&) = delete;
    ModuleHost& operator=(const ModuleHost&) = delete;
    /// Closes and unloads, with nothing checked, when stop() was not called.
    ~ModuleHost();

    /// Closes and unloads the plug-in; every text has to be back then. What it said last can still be taken.
    void stop();

    /// The two ways in. A text is lent first, which gives it the number under which it comes back.
    enum class Entrance { kWrite, kIoctl };
    [[nodiscard]] LentBuffers::Loan lend(const std::string& text) { return lent_.lend(text); }
    /// Texts that were not given back yet.
    [[nodiscard]] std::size_t texts_held() const { return lent_.outstanding(); }

    void send(const LentBuffers::Loan& loan, Entrance entrance);

    /// What the callback answers from now on to a text given back.
    struct Answer {
        std::int32_t returned = 0;
        std::uint32_t result = 0;
    };
    void answer_releases_with(Answer answer) { answer_ = answer; }

    [[nodiscard]] const ModuleLibrary& module() const { return library_; }

    [[nodiscard]] std::optional<FromModule> take(std::chrono::milliseconds timeout) {
        return mailbox_.take(timeout);
    }

  private:
    static std::int32_t take_call(const void* request, void* reply);
    std::int32_t on_call(const void* request, void* reply);
    [[nodiscard]] std::string fault_of_return(const LentBuffers::Return& text) const;

    void load();
    void open();
    void run_main_loop();
    void close();
    void unload();
    void check_other_entry_points();
    void write(const LentBuffers::Loan& loan);
    void queue_by_ioctl(const LentBuffers::Loan& loan);
    template <typename Bytes>
    void call(const char* name, ModuleLibrary::EntryPoint* entry_point, const void* input,
              const Bytes& expected);

    ModuleLibrary library_;
    Watchdog watchdog_;
    LentBuffers lent_;
    Mailbox mailbox_;
    std::atomic<std::thread::id> calling_thread_;  // the one inside Load, Open, Close or Unload
    std::atomic<std::thread::id> loop_thread_;
    std::atomic<Answer> answer_{};
    std::thread main_loop_;
    std::string main_loop_fault_;  // read after joining
    bool loaded_ = false;
};

}  // namespace recorder
