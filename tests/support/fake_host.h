#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "plugin/interfaces/host_records.h"
#include "plugin/interfaces/stream_record.h"

/// The host's side of the callback: keeps every message and release, and the texts that the module holds. One
/// at a time, since the callback is a plain function.
class FakeHost {
  public:
    struct Message {
        std::uint32_t message_class = 0;
        std::string text;
        std::thread::id thread;
    };

    FakeHost();
    FakeHost(const FakeHost&) = delete;
    FakeHost& operator=(const FakeHost&) = delete;
    ~FakeHost();

    [[nodiscard]] static host_records::HostCallback callback();

    /// Makes a buffer that stays until the module releases it; the text that releases show for it is its
    /// content.
    [[nodiscard]] const char* lend(const std::string& text);
    /// The same as a message for the worker.
    [[nodiscard]] StreamRecord lend_message(const std::string& text);
    /// Takes back a buffer that the module refused.
    void take_back(const char* buffer);

    /// Sleeper until the condition holds; false after a minute. Called with the host's lock held.
    [[nodiscard]] bool wait_until(const std::function<bool()>& condition);
    /// Sleeper until the module holds no buffer any more.
    [[nodiscard]] bool wait_for_releases();

    /// What has come so far, texts as lines "class text".
    [[nodiscard]] std::vector<Message> messages();
    [[nodiscard]] std::string lines();
    [[nodiscard]] std::vector<std::string> releases();
    /// Releases of anything that the module did not hold, which must never happen.
    [[nodiscard]] int wrong_releases();
    /// The raw request and reply of the last call.
    [[nodiscard]] host_records::HostRequest::Bytes last_request();
    [[nodiscard]] host_records::HostReply::Bytes last_reply();

    /// Called inside the callback, without the lock; may call the module or throw.
    std::function<void(std::uint32_t message_class, const std::string& text)> on_call;
    /// What the callback answers to a release.
    std::int32_t release_returns = 0;
    std::uint32_t release_result = 0;

  private:
    std::int32_t take(const void* request, void* reply);

    std::mutex mutex_;
    std::condition_variable changed_;
    std::list<std::string> buffers_;
    std::map<const void*, std::list<std::string>::iterator> held_;
    std::vector<Message> messages_;
    std::vector<std::string> releases_;
    int wrong_releases_ = 0;
    host_records::HostRequest::Bytes last_request_{};
    host_records::HostReply::Bytes last_reply_{};
};

/// The built module, loaded like a host loads it, with its records made byte by byte.
class LoadedModule {
  public:
    LoadedModule();
    LoadedModule(const LoadedModule&) = delete;
    LoadedModule& operator=(const LoadedModule&) = delete;
    /// Closes and unloads what a test left open.
    ~LoadedModule();

    /// An output record with a mark in every byte, so that a test sees which ones were written.
    using Record = std::array<std::uint8_t, 64>;
    static constexpr std::uint8_t kMark = 0xA5;
    [[nodiscard]] static Record marked();

    Record load(host_records::HostCallback callback);
    Record unload() { return call("Unload"); }
    Record open() { return call("Open"); }
    Record close() { return call("Close"); }
    Record call(const char* entry_point);

    /// Runs IOCTL code 1 on a thread of its own until the module is closed.
    void start_main_loop();
    void join_main_loop();
    /// From Load to a running main loop, and back to where that has ended.
    void begin() {
        load(FakeHost::callback());
        open();
        start_main_loop();
    }
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
    Record control(std::uint32_t code, const char* buffer = nullptr, std::uint32_t length = 0);

    [[nodiscard]] void* symbol(const char* name) const;
    /// Whether anything in this process still holds the module.
    [[nodiscard]] static bool is_in_memory();

  private:
    using EntryPoint = std::int32_t (*)(const void*, void*);
    [[nodiscard]] EntryPoint entry_point(const char* name) const;

    void* library_;
    std::thread main_loop_;
};
