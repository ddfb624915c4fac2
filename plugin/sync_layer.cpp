#include "plugin/sync_layer.h"

#include <tinyxml2.h>

#include <chrono>
#include <exception>
#include <string_view>
#include <utility>

#include "engine/nor_vane.h"
#include "host/dispatch.h"
#include "host/tal_server_impl.h"
#include "plugin/host_buffer.h"
#include "plugin/send_to_host.h"
#include "store/journaled_store.h"
#include "xml/parse.h"

namespace {

constexpr std::chrono::milliseconds kMaxWait{100};

/// Runs the action. An exception of any kind ends only the action, and is reported with the words for it.
template <typename Action>
void contain(const char* doing, Action action) noexcept {
    const auto report = [doing](const char* what) {
        try_log_error({"NorVane - Error '", what, "' while ", doing, "."});
    };
    try {
        action();
    } catch (const std::exception& error) {
        report(error.what());
    } catch (...) {
        report("unknown");
    }
}

std::unique_ptr<norvane::IPersistentStore> make_store(const platform::System& system,
                                                      const norvane::Options& options) {
    if (!options.journal) return std::make_unique<norvane::CXmlStore>(system.files, system.clock, options);
    return std::make_unique<norvane::JournaledStore>(
        system.files, system.clock, options,
        [](std::int32_t level, const std::string& text) { LogToHost(level, text.c_str()); });
}

}  // namespace

SyncLayer::SyncLayer(const platform::System& system, const norvane::Options& options)
    : system_(system),
      ticks_(norvane::RetryPolicy(options).follows_requests()),
      store_(make_store(system_, options)),
      journaled_store_(options.journal ? static_cast<norvane::JournaledStore*>(store_.get()) : nullptr),
      server_(std::make_unique<norvane::CTalServerImpl>(SendToHost, system_.files, system_.sleeper, options)),
      engine_(std::make_unique<norvane::CNorVane>(*server_, *store_, system_.clock, options)) {
    server_->SetEventSink(engine_.get());
}

SyncLayer::~SyncLayer() {
    stop();
    for (const StreamRecord& record : queue_) ReleaseHostBuffer(record.text);
}

bool SyncLayer::append(const StreamRecord& record) {
    std::list<StreamRecord> entry(1, record);
    {
        const std::lock_guard lock(queue_mutex_);
        if (stop_requested_) return false;
        queue_.splice(queue_.end(), entry);
    }
    queue_condition_.notify_one();
    return true;
}

std::int32_t SyncLayer::run() {
    std::list<StreamRecord> batch;
    {
        std::unique_lock lock(queue_mutex_);
        system_.sleeper.wait_for(queue_condition_, lock, kMaxWait,
                                 [this] { return stop_requested_ || !queue_.empty(); });
        batch.swap(queue_);
    }
    // Taken before the batch is processed: what the host sends in the meantime is not late.
    const platform::Ticks now = ticks_ ? system_.clock.steady() : 0;
    for (; !batch.empty(); batch.pop_front()) {
        if (stop_requested_) {
            ReleaseHostBuffer(batch.front().text);
        } else {
            handle(batch.front());
            keep_journal(true);
        }
    }
    if (ticks_ && !stop_requested_) tick(now);
    keep_journal(false);
    return 0;
}

std::int32_t SyncLayer::stop() {
    {
        const std::lock_guard lock(queue_mutex_);
        stop_requested_ = true;
    }
    queue_condition_.notify_all();
    return 0;
}

/// The second barrier: an exception drops this message only. Its buffer is released in either case.
void SyncLayer::handle(const StreamRecord& record) noexcept {
    const HostBuffer buffer(record.text);
    contain("handling a host message", [&] { dispatch(record); });
}

void SyncLayer::keep_journal(bool changed) noexcept {
    if (journaled_store_ == nullptr) return;
    contain("writing the journal",
            [&] { journaled_store_->keep(changed, [this] { return engine_->state(); }); });
}

/// After an exception, the next pass tries again.
void SyncLayer::tick(platform::Ticks now) noexcept {
    contain("looking for unanswered requests", [&] { engine_->OnTick(now); });
}

void SyncLayer::dispatch(const StreamRecord& record) {
    if (record.text == nullptr || record.length <= 0) return;
    const std::string_view text(record.text, static_cast<std::size_t>(record.length));
    tinyxml2::XMLDocument document;
    if (!xml::parse(document, text)) return;
    if (norvane::IEventSink* sink = server_->event_sink())
        DispatchHostMessage(document, *sink, system_.clock);
}
