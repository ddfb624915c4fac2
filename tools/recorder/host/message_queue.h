#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace recorder {

/// A copy of one call of the host's callback.
struct ReceivedMessage {
    std::chrono::system_clock::time_point at;
    std::uint32_t message_class = 0;
    std::string text;                   // the document; empty for a release
    std::uint64_t returned_number = 0;  // of the released text; 0 for a document
    std::string fault;                  // of the call itself; empty without one
};

/// The module's calls, in order. THREAD: put() on the module's threads, take() on the recorder's.
class MessageQueue {
  public:
    void put(ReceivedMessage message) {
        const std::lock_guard lock(mutex_);
        messages_.push_back(std::move(message));
        arrived_.notify_one();
    }

    /// Nothing if no message arrives in time.
    [[nodiscard]] std::optional<ReceivedMessage> take(std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex_);
        if (!arrived_.wait_for(lock, timeout, [this] { return !messages_.empty(); })) return std::nullopt;
        ReceivedMessage message = std::move(messages_.front());
        messages_.pop_front();
        return message;
    }

  private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<ReceivedMessage> messages_;
};

}  // namespace recorder
