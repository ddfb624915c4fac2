#pragma once

#include <atomic>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>

#include "platform/system.h"
#include "plugin/interfaces/command.h"
#include "plugin/interfaces/event_sink.h"
#include "plugin/interfaces/persistent_store.h"
#include "plugin/interfaces/stream_record.h"

namespace norvane {
class CTalServerImpl;
}

/// Turns the host's many threads into one: any of them appends messages, the main loop's thread takes them
/// out, dispatches them in order and gives each buffer back. Owns the components that do the work.
///
/// Every appended message is released exactly once: behind its processing, or by whoever finds it unprocessed
/// once the worker has been stopped. The host is never called while the queue is locked, so it may call back.
class SyncLayer final : public ICommand {
  public:
    /// Makes store, adapter and engine, which reads its saved state. What the system refers to has to outlive
    /// it.
    explicit SyncLayer(const platform::System& system);
    SyncLayer(const SyncLayer&) = delete;
    SyncLayer& operator=(const SyncLayer&) = delete;
    /// Stops, then destroys the engine, which saves its state, the adapter and the store.
    ~SyncLayer() override;

    /// Queues a message; false once the worker has been stopped, and the buffer stays the caller's. Any
    /// thread.
    [[nodiscard]] bool append(const StreamRecord& record);

    /// One pass: waits up to 100 ms for messages and processes all that are there. On the main loop's thread
    /// only.
    std::int32_t run() override;

    /// From now on nothing is queued or processed any more; what waits is given back in order. Any thread.
    std::int32_t stop() override;

  private:
    void handle(const StreamRecord& record) noexcept;
    void dispatch(const StreamRecord& record);

    // The order of the members is the reverse of their destruction: the engine logs and saves while it goes.
    std::condition_variable queue_condition_;
    std::mutex queue_mutex_;  // guards the queue and the setting of the flag
    std::atomic<bool> stop_requested_{false};
    // A list: it is taken whole and given back without memory, so that even a host that is short of it gets
    // its buffers back, and an entry is made before the lock is taken.
    std::list<StreamRecord> queue_;
    platform::System system_;
    std::unique_ptr<norvane::IPersistentStore> store_;
    std::unique_ptr<norvane::CTalServerImpl> server_;
    std::unique_ptr<norvane::IEventSink> engine_;
};
