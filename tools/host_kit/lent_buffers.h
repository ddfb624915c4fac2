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
    /// overwritten, so that a second return is recognized, and all texts have guard zones around them. With 0
    /// a text has none and is freed at once, and a sanitizer reports reads outside its bounds and its life.
    explicit LentBuffers(std::uint64_t last_number = 0, std::size_t kept = 0)
        : last_number_(last_number), kept_(kept) {}

    /// Copies the text, without a terminating NUL.
    [[nodiscard]] LentBuffer lend(const std::string& text);

    enum class Outcome { kReturned, kChanged, kReturnedBefore, kNeverLent };
    struct Return {
        Outcome outcome = Outcome::kNeverLent;
        std::uint64_t number = 0;
        std::string text;  // as it was lent; if kReturned or kChanged
    };
    /// For a text that the module released or refused.
    Return take_back(const char* text);

    /// The numbers of the texts that are still lent, in any order.
    [[nodiscard]] std::vector<std::uint64_t> numbers() const;
    [[nodiscard]] std::size_t count() const;
    /// The number of a text that was written to after its return; 0 without one.
    [[nodiscard]] std::uint64_t changed_after_return() const;

  private:
    struct Buffer {
        std::uint64_t number = 0;
        std::string text;               // as it was lent
        std::unique_ptr<char[]> bytes;  // the text between two guard zones
        std::size_t size = 0;
    };
    [[nodiscard]] std::size_t guard_size() const { return kept_ == 0 ? 0 : kGuardSize; }
    [[nodiscard]] bool is_unchanged(const Buffer& buffer) const;

    static constexpr std::size_t kGuardSize = 64;

    mutable std::mutex mutex_;
    std::uint64_t last_number_;
    std::size_t kept_;
    std::map<const char*, Buffer> lent_;
    std::deque<Buffer> returned_;
    std::uint64_t changed_after_return_ = 0;
};

}  // namespace host_kit
