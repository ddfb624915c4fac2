#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace host_kit {

/// A message's text that the module holds. OWNERSHIP: LentBuffers; the module may read it until it releases
/// it.
struct LentBuffer {
    std::uint64_t number = 0;
    const char* text = nullptr;
    std::uint32_t length = 0;
};

/// The texts that the module holds. Each must be returned exactly once. THREAD: any.
class LentBuffers {
  public:
    /// Numbering continues after `last_number`. The `kept` latest returned texts stay allocated and
    /// overwritten, so that a second return is recognized. With 0 a text is freed at once, and a sanitizer
    /// reports later reads.
    explicit LentBuffers(std::uint64_t last_number = 0, std::size_t kept = 0)
        : last_number_(last_number), kept_(kept) {}

    /// Copies the text to memory of its exact size, without a terminating NUL.
    [[nodiscard]] LentBuffer lend(const std::string& text);

    enum class Outcome { kReturned, kReturnedBefore, kNeverLent };
    struct Return {
        Outcome outcome = Outcome::kNeverLent;
        std::uint64_t number = 0;
        std::string text;  // if kReturned
    };
    /// For a text that the module released or refused.
    Return take_back(const char* text);

    /// The numbers of the texts that are still lent, in any order.
    [[nodiscard]] std::vector<std::uint64_t> numbers() const;
    [[nodiscard]] std::size_t count() const;

  private:
    struct Buffer {
        std::uint64_t number = 0;
        std::unique_ptr<char[]> bytes;
        std::size_t length = 0;
    };

    mutable std::mutex mutex_;
    std::uint64_t last_number_;
    std::size_t kept_;
    std::map<const char*, Buffer> lent_;
    std::deque<Buffer> returned_;
};

}  // namespace host_kit
