#pragma once

// Memory that runs out: a program that links this has operator new replaced, for itself and for every library
// in it.

#include <cstdint>
#include <functional>

namespace allocations {

/// Lets the n-th allocation fail, from 1, that this thread makes while counts() holds; and all behind it too,
/// if so wanted. While it lives; one at a time.
class Fault {
  public:
    Fault(std::uint64_t at, bool from_then_on, bool (*counts)());
    Fault(const Fault&) = delete;
    Fault& operator=(const Fault&) = delete;
    ~Fault();

    [[nodiscard]] bool has_struck() const { return struck_; }
    /// Whether there is memory again.
    [[nodiscard]] bool is_over() const { return struck_ && !from_then_on_; }

    /// For operator new: whether this allocation fails.
    [[nodiscard]] bool strikes();

  private:
    std::uint64_t at_;
    bool from_then_on_;
    bool (*counts_)();
    std::uint64_t made_ = 0;
    bool struck_ = false;
};

/// Of the whole process, in blocks and bytes.
[[nodiscard]] std::int64_t live_blocks();
[[nodiscard]] std::int64_t live_bytes();
/// The most live bytes since the last reset.
[[nodiscard]] std::int64_t peak_bytes();
void reset_peak();

}  // namespace allocations
