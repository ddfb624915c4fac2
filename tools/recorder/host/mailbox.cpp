#include "tools/recorder/host/mailbox.h"

#include <utility>

namespace recorder {

void Mailbox::put(FromModule message) {
    {
        const std::lock_guard lock(mutex_);
        messages_.push_back(std::move(message));
    }
    arrived_.notify_one();
}

std::optional<FromModule> Mailbox::take(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_for(lock, timeout, [this] { return !messages_.empty(); })) return std::nullopt;
    FromModule message = std::move(messages_.front());
    messages_.pop_front();
    return message;
}

}  // namespace recorder
