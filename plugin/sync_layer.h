#pragma once

#include <atomic>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>

#include "platform/system.h"
#include "plugin/interfaces/command.h"
#include "plugin/interfaces/event_sink.h"
#include "plugin/interfaces/options.h"
#include "plugin/interfaces/persistent_store.h"
#include "plugin/interfaces/stream_record.h"

namespace norvane {
class CNorVane;
class CTalServerImpl;
class JournaledStore;
}  // namespace norvane

/// The worker: a queue between the host's threads and the main loop. Any thread appends messages. The main
/// loop's thread dispatches them in order and releases each buffer. Owns the store, the server and the
/// engine.
///
/// Each appended message is released exactly once: after it was processed, or unprocessed by the interrupted
/// run() or by the destructor. Only one thread at a time calls the host. The queue is never locked during a
/// call to the host, so the host may append messages.
class SyncLayer final : public ICommand {
  public:
    /// Creates the store, the server and the engine, which reads its saved state. The objects that `system`
    /// refers to must outlive this one.
    explicit SyncLayer(const platform::System& system, const norvane::Options& options = {});
    SyncLayer(const SyncLayer&) = delete;
    SyncLayer& operator=(const SyncLayer&) = delete;
    /// Stops, releases the queued messages in order, then destroys the engine, which saves its state, the
    /// server and the store. No run() may be in progress.
    ~SyncLayer() override;

    /// Queues a message. False after stop(); the caller then keeps the buffer. Any thread.
    [[nodiscard]] bool append(const StreamRecord& record);

    /// One pass: waits up to 100 ms for messages, processes all that are queued, and keeps the journal up to
    /// date. Main loop's thread only.
    std::int32_t run() override;

    /// Ends queueing and processing. Does not call the host. Any thread.
    std::int32_t stop() override;

  private:
    void handle(const StreamRecord& record) noexcept;
    void tick(platform::Ticks now) noexcept;
    void dispatch(const StreamRecord& record);
    void keep_journal(bool changed) noexcept;

    // Destruction is in reverse order: the engine's destructor needs the server to log and the store to save.
    std::condition_variable queue_condition_;
    std::mutex queue_mutex_;  // guards the queue and the setting of the flag
    std::atomic<bool> stop_requested_{false};
    // A list, because run() can take all entries without allocating: buffers are released even when memory
    // is exhausted. append() allocates the entry before it locks the mutex.
    std::list<StreamRecord> queue_;
    platform::System system_;
    bool ticks_;  // the engine needs to know that time passes
    std::unique_ptr<norvane::IPersistentStore> store_;
    norvane::JournaledStore* journaled_store_;  // the store, if it has a journal; otherwise null
    std::unique_ptr<norvane::CTalServerImpl> server_;
    std::unique_ptr<norvane::CNorVane> engine_;
};
