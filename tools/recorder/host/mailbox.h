#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

namespace recorder {

/// One call of the host's callback, copied while it lasted.
struct FromModule {
    std::chrono::system_clock::time_point at;
    std::uint32_t message_class = 0;
    std::string text;              // the document; empty when a text is given back
    std::uint64_t given_back = 0;  // number of the lent text, 0 for a document
    std::string fault;             // what was wrong with the call itself, empty for nothing
};

/// What arrived from the plug-in, in order. Filled by the plug-in's threads, emptied by ours.
class Mailbox {
  public:
    void put(FromModule message);

    /// Nothing when none arrived in time.
    [[nodiscard]] std::optional<FromModule> take(std::chrono::milliseconds timeout);

  private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<FromModule> messages_;
};

}  // namespace recorder
