#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "bench/ratios/measure.h"
#include "tools/host_kit/module_library.h"

namespace bench {

/// The built module, loaded as a host loads it, and as little of a host as it needs. One at a time, since the
/// callback is a plain function.
class Host {
  public:
    /// Loads, opens and starts the main loop.
    explicit Host(const std::filesystem::path& module);
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host();

    /// Processor seconds of Open, on the constructing thread; of Close, which ends the module, on the calling
    /// one.
    [[nodiscard]] double open_seconds() const { return open_seconds_; }
    double close();

    struct Burst {
        double queue_seconds = 0;  // of the sending thread, for all texts
        double queue_bytes = 0;    // allocated for them
        /// Of the main loop's thread, from the first text's turn to the last one's release.
        double work_seconds = 0;
    };
    /// Queues all texts while the worker is held, then lets it go and waits for the last one.
    Burst run(const std::vector<std::string>& texts);

    /// The documents that came since the last call, log lines among them.
    std::vector<std::string> take_replies();

    /// Processor seconds of the main loop's thread, and how often it has slept, so far.
    struct Idle {
        double seconds = 0;
        double sleeps = 0;
    };
    [[nodiscard]] Idle idle() const;

  private:
    static std::int32_t take_call(const void* request, void* reply);
    void on_release();
    void write(const std::string& text);
    void hold_worker();

    recorder::ModuleLibrary library_;
    std::thread main_loop_;
    double open_seconds_ = 0;
    int loop_id_ = 0;

    std::mutex mutex_;
    std::condition_variable changed_;
    enum class Worker { kFree, kToBeHeld, kHeld } worker_ = Worker::kFree;
    std::size_t left_ = 0;  // texts of the burst; only the worker's once it is free
    bool done_ = false;
    double began_ = 0;
    double ended_ = 0;
    std::vector<std::string> replies_;
};

}  // namespace bench
