#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/system.h"
#include "plugin/interfaces/stream_record.h"

class SyncLayer;

/// The module's state between Load and Unload: one worker, one main loop, and the handshake that ends them.
/// It goes from running, over opened, to closed, and never back: one Load serves one span from Open to Close.
///
/// Locks: the context's mutex, then the worker's queue mutex. Neither is held while the host is called.
class ModuleContext {
  public:
    explicit ModuleContext(const platform::System& system) : system_(system) {}
    ModuleContext(const ModuleContext&) = delete;
    ModuleContext& operator=(const ModuleContext&) = delete;
    /// close() first; what is still there is destroyed without a wait for the main loop.
    ~ModuleContext() = default;

    /// Makes the worker and sends registration and features; from when the worker stands, messages are
    /// accepted. Does nothing while one stands already. What is thrown leaves the context without a worker.
    void open();

    /// Ends the main loop, waits for its end unless called on its thread, gives waiting messages back and
    /// destroys the worker, which saves the state. Called on the main loop's thread, the worker goes when its
    /// pass is over.
    void close();

    /// Runs on the calling thread until close(). Returns at once after close() and while another loop runs.
    void run_main_loop();

    /// Queues a message; false when there is no worker to take it.
    [[nodiscard]] bool append(const StreamRecord& record);

    [[nodiscard]] bool main_loop_runs();

  private:
    void one_pass();
    std::shared_ptr<SyncLayer> take_worker();

    const platform::System system_;
    std::atomic<bool> running_{true};
    std::atomic<bool> opened_{false};
    bool stopped_ = true;  // no main loop runs
    bool opening_ = false;
    std::thread::id loop_thread_;
    std::condition_variable stopped_condition_;
    std::mutex mutex_;
    // Shared with the main loop's pass alone, which may be the one that outlives close().
    std::shared_ptr<SyncLayer> sync_layer_;
};

/// The one context, null before Load and after Unload. Any thread may ask; what it gets stays valid.
[[nodiscard]] std::shared_ptr<ModuleContext> current_context();

/// Makes a fresh context the current one and closes the one before; one whose main loop runs stays instead.
void load_context(const platform::System& system);

/// Closes the current context, if there is one, and forgets it.
void unload_context();
