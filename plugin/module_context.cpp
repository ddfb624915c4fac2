#include "plugin/module_context.h"

#include <tinyxml2.h>

#include <chrono>
#include <utility>

#include "host/documents/names.h"
#include "host/documents/outgoing.h"
#include "plugin/configuration.h"
#include "plugin/interfaces/records.h"
#include "plugin/send_to_host.h"
#include "plugin/sync_layer.h"

namespace {

constexpr std::chrono::milliseconds kIdleSleep{1000};
constexpr std::chrono::milliseconds kFailureSleep{100};

/// Prevents destruction at process exit: it would destroy a worker, which would call a callback that may no
/// longer exist.
template <typename T>
union NeverDestroyed {
    constexpr NeverDestroyed() : value() {}
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;
    ~NeverDestroyed() {}  // NOLINT(modernize-use-equals-default): a union deletes a defaulted one
    T value;
};

std::mutex current_mutex;
// NOLINTNEXTLINE(cert-err58-cpp): initialized at compile time, so it cannot throw
constinit NeverDestroyed<std::shared_ptr<ModuleContext>> current;

void send_start_up_messages() {
    tinyxml2::XMLDocument registration;
    documents::fill_registration(registration);
    SendToHost(registration, names::kDeviceClass);
    tinyxml2::XMLDocument features;
    documents::fill_features(features);
    SendToHost(features, names::kDeviceClass);
}

/// Reports what the configuration says, before the engine starts.
norvane::Options configured_options(platform::FileSystem& files) {
    const Configuration configuration = read_configuration(files);
    for (const std::string& fault : configuration.faults) LogToHost(kLogError, fault.c_str());
    if (!configuration.summary.empty()) LogToHost(kLogInformation, configuration.summary.c_str());
    return configuration.options;
}

/// Stores the next context, which may be null. Returns the previous one.
std::shared_ptr<ModuleContext> replace_current(std::shared_ptr<ModuleContext> next) {
    const std::lock_guard lock(current_mutex);
    return std::exchange(current.value, std::move(next));
}

}  // namespace

void ModuleContext::open() {
    {
        const std::lock_guard lock(mutex_);
        if (sync_layer_ != nullptr || opening_) return;
        opening_ = true;
    }
    std::shared_ptr<SyncLayer> worker;
    try {
        worker = std::make_shared<SyncLayer>(system_, configured_options(system_.files));
    } catch (...) {
        const std::lock_guard lock(mutex_);
        opening_ = false;
        throw;
    }
    {
        const std::lock_guard lock(mutex_);
        sync_layer_ = std::move(worker);
        opening_ = false;
    }
    try {
        send_start_up_messages();
    } catch (...) {
        take_worker();
        throw;
    }
    opened_ = true;
}

void ModuleContext::close() {
    std::shared_ptr<SyncLayer> worker;
    {
        const std::lock_guard lock(mutex_);
        running_ = false;
        opened_ = false;
        worker = sync_layer_;
    }
    if (worker != nullptr) worker->stop();
    {
        std::unique_lock lock(mutex_);
        if (loop_thread_ != std::this_thread::get_id()) {
            stopped_condition_.wait(lock, [this] { return stopped_; });
        }
    }
    take_worker();
}

bool ModuleContext::append(const StreamRecord& record) {
    const std::lock_guard lock(mutex_);
    return sync_layer_ != nullptr && sync_layer_->append(record);
}

bool ModuleContext::main_loop_is_running() {
    const std::lock_guard lock(mutex_);
    return !stopped_;
}

void ModuleContext::run_main_loop() {
    {
        const std::lock_guard lock(mutex_);
        if (!running_ || !stopped_) return;
        stopped_ = false;
        loop_thread_ = std::this_thread::get_id();
    }
    while (running_) {
        try {
            run_pass();
        } catch (...) {  // the pass could not start, for example without memory; the next one may succeed
            system_.sleeper.sleep(kFailureSleep);
        }
    }
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    loop_thread_ = {};
    stopped_condition_.notify_all();
}

void ModuleContext::run_pass() {
    if (!opened_) {
        // close() clears running_ before opened_, and then waits for this thread: a sleep would delay it.
        if (running_) system_.sleeper.sleep(kIdleSleep);
        return;
    }
    std::shared_ptr<SyncLayer> worker;
    {
        const std::lock_guard lock(mutex_);
        worker = sync_layer_;
    }
    if (worker != nullptr) worker->run();
}

std::shared_ptr<SyncLayer> ModuleContext::take_worker() {
    const std::lock_guard lock(mutex_);
    return std::move(sync_layer_);
}

std::shared_ptr<ModuleContext> current_context() {
    const std::lock_guard lock(current_mutex);
    return current.value;
}

void load_context(const platform::System& system) {
    const auto previous = current_context();
    if (previous != nullptr && previous->main_loop_is_running()) return;
    // This may close another context than the one checked above: a concurrent Load may have replaced it.
    if (const auto replaced = replace_current(std::make_shared<ModuleContext>(system))) replaced->close();
}

void unload_context() {
    if (const auto previous = replace_current(nullptr)) previous->close();
}
