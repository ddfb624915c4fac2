#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "plugin/interfaces/stream_record.h"
#include "tools/host_kit/callback.h"
#include "tools/host_kit/lent_buffers.h"
#include "tools/host_kit/module.h"
#include "tools/host_kit/module_library.h"

/// The host's side of the callback. Records every message and release, and counts the texts that the module
/// holds.
class FakeHost final : public host_kit::CallbackReceiver {
  public:
    struct Message {
        std::uint32_t message_class = 0;
        std::string text;
        std::thread::id thread;
    };

    ~FakeHost();

    /// A buffer that exists until the module releases it. releases() shows its text.
    [[nodiscard]] const char* lend(const std::string& text) { return lent_.lend(text).text; }
    /// The same as a message for the worker.
    [[nodiscard]] StreamRecord lend_message(const std::string& text);
    /// Frees a buffer that the module refused.
    void take_back(const char* buffer) { lent_.take_back(buffer); }

    /// Waits until the condition holds; false after a minute. The condition runs under the host's lock.
    [[nodiscard]] bool wait_until(const std::function<bool()>& condition);
    /// Waits until the module holds no buffer.
    [[nodiscard]] bool wait_for_releases() {
        return wait_until([this] { return lent_.count() == 0; });
    }

    /// The messages received so far; lines() shows them as "class text".
    [[nodiscard]] std::vector<Message> messages() { return copy_of(messages_); }
    [[nodiscard]] std::string lines();
    [[nodiscard]] std::vector<std::string> releases() { return copy_of(releases_); }
    /// Returns and resets the number of releases of buffers that the module did not hold.
    [[nodiscard]] int wrong_releases();
    /// The raw request and reply of the last call.
    [[nodiscard]] host_records::HostRequest::Bytes last_request() { return copy_of(last_request_); }
    [[nodiscard]] host_records::HostReply::Bytes last_reply() { return copy_of(last_reply_); }

    /// Called inside the callback, without the lock. It may call the module or throw.
    std::function<void(std::uint32_t message_class, const std::string& text)> on_call;
    /// The callback's answer to a release.
    std::int32_t release_returns = 0;
    std::uint32_t release_result = 0;

  private:
    std::int32_t receive(const host_kit::HostCall& call) override;
    std::string record(const host_kit::HostCall& call);
    template <typename T>
    T copy_of(const T& member) {
        const std::lock_guard lock(mutex_);
        return member;
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    host_kit::LentBuffers lent_;
    std::vector<Message> messages_;
    std::vector<std::string> releases_;
    int wrong_releases_ = 0;
    host_records::HostRequest::Bytes last_request_{};
    host_records::HostReply::Bytes last_reply_{};
};

/// A field of an output record that the module did not write.
inline constexpr std::uint32_t kUnwrittenWord = 0x01010101U * host_kit::kUnwritten;

/// The built module, loaded as a host loads it.
class LoadedModule : host_kit::ModuleLibrary, public host_kit::Module {
  public:
    LoadedModule();
    LoadedModule(const LoadedModule&) = delete;
    LoadedModule& operator=(const LoadedModule&) = delete;
    /// Closes and unloads what a test left open.
    ~LoadedModule();

    using host_kit::Module::entry_points;

    /// Runs the main loop on a thread of its own until the module is closed.
    void start_main_loop() {
        main_loop_ = std::thread([this] { ioctl(host_records::kRunMainLoop); });
    }
    void join_main_loop() { main_loop_.join(); }
    /// From Load to a running main loop.
    void begin() {
        load(FakeHost::callback());
        open();
        start_main_loop();
    }
    /// From Close to the end of the main loop.
    void end() {
        close();
        join_main_loop();
    }

    struct Sent {
        std::int32_t status = 0;
        std::uint32_t count = 0;
    };
    Sent write(const char* buffer, std::uint32_t length, std::uint8_t refused = 0,
               std::uint32_t identifier = 1);

  private:
    std::thread main_loop_;
};
