#include "tools/recorder/host/message_queue.h"

#include <utility>

namespace recorder {

void MessageQueue::put(ReceivedMessage message) {
    {
        const std::lock_guard lock(mutex_);
        messages_.push_back(std::move(message));
    }
    arrived_.notify_one();
}

std::optional<ReceivedMessage> MessageQueue::take(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_for(lock, timeout, [this] { return !messages_.empty(); })) return std::nullopt;
    ReceivedMessage message = std::move(messages_.front());
    messages_.pop_front();
    return message;
}

}  // namespace recorder
