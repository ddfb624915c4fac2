#pragma once

#include <atomic>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include "bench/ratios/measure.h"
#include "tools/host_kit/callback.h"
#include "tools/host_kit/module.h"
#include "tools/host_kit/module_library.h"

namespace bench {

/// What the module's configuration file selects.
enum class Profile { kNone, kSafe };

/// Loads the built module and measures its processor time.
class Host final : host_kit::CallbackReceiver {
  public:
    /// Loads and opens the module and starts the main loop.
    explicit Host(const std::filesystem::path& module, Profile profile = Profile::kNone);
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host();

    /// Processor seconds of Open on its thread.
    [[nodiscard]] double open_seconds() const { return open_seconds_; }
    /// Closes and unloads the module. Returns the processor seconds of Close on its thread.
    double close();

    /// All texts together.
    struct BatchCost {
        double queue_seconds = 0;  // on the sending thread
        double queue_bytes = 0;    // allocated while queueing
        double work_seconds =
            0;  // on the main loop's thread, from the start of the first text to the last release
    };
    /// Blocks the worker, queues all texts, unblocks the worker and waits until it has released the last
    /// text.
    BatchCost run(const std::vector<std::string>& texts);

    /// The documents received since the last call, including log lines.
    std::vector<std::string> take_replies();

    /// The processor seconds of the main loop's thread and the number of its sleeps so far.
    struct Idle {
        double seconds = 0;
        double sleeps = 0;
    };
    [[nodiscard]] Idle idle() const;

  private:
    std::int32_t receive(const host_kit::HostCall& call) override;
    void on_release();
    void write(const std::string& text);
    void block_worker();

    host_kit::ModuleLibrary library_;
    host_kit::Module module_;
    std::thread main_loop_;
    double open_seconds_ = 0;
    int loop_id_ = 0;

    std::atomic<bool> to_block_{false};  // at the next release
    std::binary_semaphore blocked_{0};
    std::binary_semaphore unblocked_{0};
    std::binary_semaphore done_{0};
    std::size_t left_ = 0;  // texts of the batch; used by the worker alone while it is not blocked
    double began_ = 0;
    double ended_ = 0;
    std::vector<std::string> replies_;
};

}  // namespace bench
