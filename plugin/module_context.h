#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/system.h"
#include "plugin/interfaces/stream_record.h"

class SyncLayer;

/// The module's state between Load and Unload: one worker, one main loop, and the handshake that ends both.
/// Its states are loaded, opened and closed, in this order. The main loop cannot run again after close().
///
/// Lock order: the context's mutex, then the worker's queue mutex. Neither is held during a call to the host.
class ModuleContext {
  public:
    explicit ModuleContext(const platform::System& system) : system_(system) {}
    ModuleContext(const ModuleContext&) = delete;
    ModuleContext& operator=(const ModuleContext&) = delete;
    /// Call close() first. The destructor does not wait for the main loop.
    ~ModuleContext() = default;

    /// Reads the configuration and creates the worker, then sends the registration and the features. Messages
    /// are accepted once the worker exists. Does nothing if it already exists. After an exception there is no
    /// worker.
    void open();

    /// Ends the main loop, waits for it, and destroys the worker, which releases the queued messages and
    /// saves the state. On the main loop's thread it does not wait: the worker is destroyed after its current
    /// pass.
    void close();

    /// Runs the main loop on the calling thread until close(). Returns at once after close(), and if the loop
    /// already runs on another thread.
    void run_main_loop();

    /// Queues a message. False if the worker does not exist or has been stopped.
    [[nodiscard]] bool append(const StreamRecord& record);

    [[nodiscard]] bool main_loop_is_running();

  private:
    void run_pass();
    std::shared_ptr<SyncLayer> take_worker();

    const platform::System system_;
    std::atomic<bool> running_{true};  // false after close()
    std::atomic<bool> opened_{false};  // registered with the host, and not closed yet
    bool stopped_ = true;              // no main loop is running
    bool opening_ = false;             // a thread is creating the worker
    std::thread::id loop_thread_;
    std::condition_variable stopped_condition_;
    std::mutex mutex_;
    // Shared only with the main loop's current pass, which outlives close() if it called close() itself.
    std::shared_ptr<SyncLayer> sync_layer_;
};

/// The current context; null before Load and after Unload. Any thread may call this and keep the result.
[[nodiscard]] std::shared_ptr<ModuleContext> current_context();

/// Creates a context, makes it the current one and closes the previous one. Does nothing if the previous
/// one's main loop is running.
void load_context(const platform::System& system);

/// Closes and removes the current context, if it exists.
void unload_context();
